// Plug-ins that break the rules: encmgr names them, whatever they do.
#include "tests/HostRun.h"

#include <atomic>
#include <fstream>
#include <future>
#include <nlohmann/json.hpp>
#include <sstream>
#include <sys/stat.h>

namespace
{

class HostPluginsTest : public HostTest
{
protected:
    // A folder "<fault>/PlugIns" with the plug-in that has this fault.
    void Install(const std::string& fault) const
    {
        const std::filesystem::path folder = m_folder / fault / "PlugIns";
        std::filesystem::create_directories(folder);
        std::filesystem::copy_file(ENCMGR_BAD_PLUGIN, folder / ("wp" + fault + ".dylib"));
    }

    std::string Plugin(const std::string& fault) const { return Path(fault + "/PlugIns/wp" + fault + ".dylib"); }

    // Copies the good one with each of the bytes replaced.
    void Patch(const std::string& name, const std::string& from, const std::string& to) const
    {
        std::ifstream in(ENCMGR_BAD_PLUGIN, std::ios::binary);
        std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        for (size_t at = 0; !from.empty() && (at = bytes.find(from, at)) != std::string::npos; at += to.size())
            bytes.replace(at, to.size(), to);
        std::ofstream(Path(name), std::ios::binary) << bytes;
    }

    // What "encmgr validate" finds, but for what has passed: "id outcome" of each check, but for skipped ones.
    std::string Findings(const std::string& arguments, const std::string& errors = "errors") const
    {
        // Of some, what they leak is the fault.
        std::string said;
        const int code = Shell(
            "ASAN_OPTIONS=detect_leaks=0 encmgr validate --json " + arguments + " 2>" + errors + " </dev/null", said);
        const auto json = nlohmann::json::parse(said, nullptr, false);
        if (json.is_discarded())
            return "no JSON: " + said;
        std::string findings;
        for (const auto& check : json["files"][0]["checks"])
            if (const std::string outcome = check["outcome"]; outcome != "passed" && outcome != "skipped")
                findings += (findings.empty() ? "" : ", ") + check["id"].get<std::string>() + " " + outcome;
        EXPECT_EQ(code, json["files"][0]["isGood"] ? 0 : 1) << arguments;
        return findings;
    }

    // Of each fault, several at once: the options of "encmgr validate", and what it finds.
    struct Fault {
        const char* name;
        const char* findings;
        const char* only = "";
    };
    void ExpectFindings(const std::vector<Fault>& faults, const std::string& options) const
    {
        std::atomic<size_t> next = 0;
        const auto work = [&] {
            for (size_t i; (i = next++) < faults.size();) {
                const auto& [name, findings, only] = faults[i];
                Install(name);
                EXPECT_EQ(Findings(options + " -t '" + only + "' " + Plugin(name), std::string(name) + ".errors"),
                          findings)
                    << name;
            }
        };
        std::vector<std::future<void>> workers(3);
        for (auto& worker : workers)
            worker = std::async(std::launch::async, work);
    }
};

} // namespace

TEST_F(HostPluginsTest, TheOneThatEndsTheProgramIsNamed)
{
    const struct {
        const char* fault;
        const char* command;
        int code;
        const char* said;
    } cases[] = {
        {"exit-in-scan", "list", 10, "has ended the program while it was loaded"},
        {"_exit-in-scan", "list", 10, "has ended the program while it was loaded"},
        {"crash-in-scan", "list; (exit $?)", 128 + 6, "(SIGABRT) while it was loaded"},
        {"hang-in-scan", "list", 130, "interrupted while the plug-in"},
        {"exit-in-slot", "encode testcard:seconds=1,size=160x90 -o a.bad", 10, "has ended the program"},
        {"good", "encode testcard:seconds=1,size=160x90 -o a.bad", 0, "a.bad: 25 pictures"},
    };
    for (const auto& [fault, command, code, said] : cases) {
        Install(fault);
        const bool hangs = std::string(fault) == "hang-in-scan";
        EXPECT_EQ(Run(std::string("--plugins ") + fault + " " + command,
                      hangs ? "timeout --preserve-status -s INT 1" : "true;"),
                  code)
            << fault << m_said;
        EXPECT_TRUE(Said(said)) << m_said;
        EXPECT_EQ(Said("wp" + std::string(fault) + ".dylib"), code != 0) << m_said;
    }
    for (const auto& entry : std::filesystem::directory_iterator(m_folder))
        EXPECT_EQ(entry.path().string().find(".part-"), std::string::npos) << entry.path();
}

TEST_F(HostPluginsTest, ThoseThatWouldEndTheProgramAreLeftOut)
{
    for (const std::string fault : {"good", "exit-in-scan", "_exit-in-scan", "crash-in-scan", "throw-in-scan"}) {
        Install(fault);
        std::filesystem::create_directories(m_folder / "all" / "PlugIns");
        std::filesystem::copy_file(Plugin(fault), m_folder / "all" / "PlugIns" / ("wp" + fault + ".dylib"));
    }
    ASSERT_EQ(Run("--plugins all list --check-plugins"), 0) << m_said;
    for (const std::string fault : {"wpexit", "wp_exit", "wpcrash"})
        EXPECT_TRUE(Said("the plug-in all/PlugIns/" + fault + "-in-scan.dylib is left out: it has ")) << m_said;
    EXPECT_TRUE(Said("[all/PlugIns/wpthrow-in-scan.dylib] has thrown in GetEncoders: bad.")) << m_said;
    EXPECT_TRUE(Said("\nBAD   Bad file")) << m_said;
    EXPECT_EQ(Run("--plugins all encode --check-plugins testcard:seconds=1,size=160x90 -o a.bad"), 0) << m_said;
}

TEST_F(HostPluginsTest, TextsThatFillTheirFieldsEndInThem)
{
    Install("full-texts");
    ASSERT_EQ(Run("--plugins full-texts list"), 0);
    const std::string texts = "  " + std::string(63, 'x') + "  " + std::string(127, 'x') + "\n";
    EXPECT_EQ(m_said, "BAD " + texts + "    video  BADV" + texts + "    audio  BADA" + texts);
}

TEST_F(HostPluginsTest, FilesThatAreNoPluginsAreFound)
{
    constexpr char exports[] = "GetEncoderOptions";
    Patch("wpexports.dylib", "Get", "Bet");
    Patch("wpother.dylib", exports, "GetEncoderOptionz");
    Patch("wpclash.dylib", exports, "FCCreateMediaFile");
    Patch("wplinks.dylib", "libstdc++.so.6", "libstdc++.so.0");
    Patch("wpsymbol.dylib", std::string("\0setlocale\0", 11), std::string("\0setlocbad\0", 11));
    Patch("libwpx.so", "", "");
    Patch("WPX.dylib", "", "");
    std::ofstream(Path("wptext.dylib")) << "no library";
    Patch("wpempty.dylib", "", "");
    std::filesystem::resize_file(Path("wpempty.dylib"), 0);
    Patch("wpcut.dylib", "", "");
    std::filesystem::resize_file(Path("wpcut.dylib"), std::filesystem::file_size(ENCMGR_BAD_PLUGIN) - 100);
    // The machine is the 19th byte; of 32 bits the header of another file is enough.
    Patch("wparm.dylib", "", "");
    std::fstream(Path("wparm.dylib"), std::ios::binary | std::ios::in | std::ios::out).seekp(18).put(40);
    std::string header("\177ELF\1\1\1\0\0\0\0\0\0\0\0\0\3\0\3\0\1\0\0\0", 24);
    header += std::string("\0\0\0\0\64\0\0\0\0\0\0\0\0\0\0\0\64\0\40\0\1\0\50\0\0\0\0\0", 28) + std::string(32, '\0');
    std::ofstream(Path("wp32.dylib"), std::ios::binary) << header;
    mkfifo(Path("wppipe.dylib").c_str(), 0600);
    std::filesystem::create_directory(Path("wpfolder.dylib"));

    const std::pair<const char*, const char*> cases[] = {
        {"wpexports.dylib", "exports failed"},     {"wpother.dylib", "other-exports warning"},
        {"wpclash.dylib", "other-exports failed"}, {"wplinks.dylib", "dependencies failed"},
        {"wpsymbol.dylib", "symbols failed"},      {"libwpx.so", "file-name failed"},
        {"WPX.dylib", "file-name failed"},         {"wptext.dylib", "shared-library failed"},
        {"wpempty.dylib", "regular-file failed"},  {"wpcut.dylib", "shared-library failed"},
        {"wparm.dylib", "architecture failed"},    {"wp32.dylib", "word-size failed"},
        {"wppipe.dylib", "regular-file failed"},   {"wpfolder.dylib", "regular-file failed"},
        {"wpgone.dylib", "regular-file failed"},
    };
    for (const auto& [file, findings] : cases)
        EXPECT_EQ(Findings("--strictness 2 --in-process " + std::string(file)), findings) << file;
}

// Each fault is found by one check, and hardly disturbs the others.
TEST_F(HostPluginsTest, EachFaultIsFoundByItsCheck)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "processes with the sanitizer start too slowly for the checks' time limits";
#endif
    const std::vector<Fault> faults = {
        {"good", ""},
        {"throw-in-scan", "scan failed"},
        {"stride", "record-stride failed"},
        {"endless", "record-end failed"},
        {"four-cc", "four-cc failed"},
        {"type", "encoder-type failed"},
        {"full-texts", "texts failed"},
        {"text", "texts failed"},
        {"wild-slot", "slot-addresses failed"},
        {"no-encode", "required-slots failed"},
        {"no-set-extra", "extra-slots warning"},
        {"endless-modes", "mode-list-end failed"},
        {"wrong-list", "listed-encoders failed"},
        {"absent", "listed-encoders warning"},
        {"slow", "scan-time failed", "scan"},
        {"file", "load-files failed"},
        {"no-encoder", "jobs failed"},
        {"empty-file", "jobs failed"},
        {"calls-library", "slot-order failed"},
        {"loses-picture", "frames-out failed"},
        {"loses-sound", "frames-out failed"},
        {"odd-results", "write-results failed"},
        {"silent", "failures-told warning"},
        {"takes-any", "revise-video failed"},
        {"six-channels", "revise-audio failed"},
        {"restless", "revise-twice failed"},
        {"throw-in-revise", "no-exceptions failed"},
        {"throw-in-encode", "no-exceptions failed"},
        {"shared-state", "interleaved-jobs warning"},
        {"leaks-file", "job-growth failed"},
        {"no-odd", "odd-sizes failed"},
        {"no-pitch", "wide-pitch failed"},
        {"loses-errno", "write-errno failed"},
#ifndef __SANITIZE_ADDRESS__ // whose memory malloc doesn't count
        {"leaks-by-job", "job-growth failed"},
        {"leaks-by-frame", "frame-growth failed"},
#endif
    };
    ExpectFindings(faults, "--strictness 9 --in-process");
}

TEST_F(HostPluginsTest, TheDocumentHasEveryCheck)
{
    std::ifstream stream(ENCMGR_SOURCES "/docs/validate.md");
    const std::string document((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    ASSERT_EQ(Run("validate --list --strictness 10"), 0);
    std::istringstream lines(m_said);
    std::string level, id, sentence;
    while (lines >> level >> id && std::getline(lines >> std::ws, sentence))
        EXPECT_NE(document.find("| " + level + " | `" + id + "` | " + sentence + " |"), std::string::npos) << id;
}

TEST_F(HostPluginsTest, WhatEndsAProcessIsFoundByItsCheck)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "processes with the sanitizer start too slowly for the checks' time limits";
#endif
    const std::vector<Fault> faults = {
        {"exit-in-scan", "loads crashed", "loads"},
        {"hang-in-scan", "loads crashed", "loads"},
        {"locale", "load-locale failed", "^load-"},
        {"rounding", "load-floating-point failed", "^load-"},
        {"signal", "load-signals failed", "^load-"},
        {"environment", "load-settings failed", "^load-"},
        {"exit-in-slot", "jobs crashed", "jobs"},
        {"hang-in-encode", "jobs crashed", "jobs"},
        {"crash-in-encode", "jobs crashed", "jobs"},
        {"crash-when-empty", "empty-jobs crashed"},
        {"null-callback", "null-callback crashed"},
        {"crash-in-revise", "revise-video crashed", "revise-video|jobs"},
        {"one-thread", "threads crashed", "threads|jobs"},
        {"reads-beyond", "frame-bounds crashed", "frame|jobs"},
        {"reads-before", "frame-bounds crashed", "frame|jobs"},
        {"writes-frame", "frame-const crashed", "frame|jobs"},
        {"keeps-frame", "frame-kept crashed", "frame|jobs"},
    };
    ExpectFindings(faults, "--strictness 9 --timeout-ms 2000");
}
