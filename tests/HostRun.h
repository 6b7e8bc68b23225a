// Runs the program encmgr in a folder of the test's own.
#ifndef ENCMGR_TESTS_HOST_RUN_H
#define ENCMGR_TESTS_HOST_RUN_H

#include <cstdio>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

class HostTest : public testing::Test
{
protected:
    void SetUp() override
    {
        m_folder = std::filesystem::temp_directory_path() / ("encmgr-host-test-" + std::to_string(getpid()));
        std::filesystem::create_directories(m_folder);
    }
    void TearDown() override { std::filesystem::remove_all(m_folder); }

    std::string Path(const std::string& name) const { return (m_folder / name).string(); }

    // Runs encmgr in the test's folder; m_said holds what it said. Returns its exit code, or -1 if a signal ended it.
    int Run(const std::string& arguments, const std::string& before = "")
    {
        return Shell(before + " " ENCMGR_PROGRAM " " + arguments + (before.empty() ? " </dev/null" : ""));
    }

    // The same of any command; "encmgr" is the program.
    int Shell(const std::string& line) { return Shell(line, m_said); }
    int Shell(const std::string& line, std::string& said) const
    {
        const std::string command =
            "cd " + m_folder.string() + " && encmgr() { " ENCMGR_PROGRAM " \"$@\"; } && { " + line + "; } 2>&1";
        said.clear();
        FILE* pipe = popen(command.c_str(), "r");
        for (int c; (c = std::fgetc(pipe)) != EOF;)
            said += static_cast<char>(c);
        const int status = pclose(pipe);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    bool Said(const std::string& text) const { return m_said.find(text) != std::string::npos; }

    // For Shell: waits until the job that writes the file NAME has written so many bytes.
    static std::string UntilWritten(const std::string& name, int bytes)
    {
        return "for i in $(seq 900); do [ -n \"$(find . -name '" + name + ".part-*' -size +" + std::to_string(bytes) +
               "c)\" ] && break; sleep 0.03; done";
    }

    std::filesystem::path m_folder;
    std::string m_said;
};

#endif // ENCMGR_TESTS_HOST_RUN_H
