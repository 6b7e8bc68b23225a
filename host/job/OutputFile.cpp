#include "host/job/OutputFile.h"

#include "host/base/ExitCode.h"
#include "host/base/Interrupt.h"
#include "host/base/Text.h"
#include "text/Strings.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace host
{

namespace
{

[[noreturn]] void Refuse(const std::string& path, const char* reason)
{
    throw HostError(kExitOutput, Format("can't write %s: %s", path.c_str(), reason));
}

bool IsSameFile(const struct stat& one, const std::string& otherName)
{
    struct stat other = {};
    const int result = otherName == "-" ? fstat(STDIN_FILENO, &other) : stat(otherName.c_str(), &other);
    return result == 0 && S_ISREG(other.st_mode) && one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

bool AskToOverwrite(const std::string& path)
{
    std::fprintf(stderr, "encmgr: %s exists. Overwrite it? [y/N] ", path.c_str());
    std::fflush(stderr);
    char answer[16] = {};
    const bool hasAnswer = std::fgets(answer, sizeof(answer), stdin) && !InterruptSignal();
    return hasAnswer && (answer[0] == 'y' || answer[0] == 'Y');
}

} // namespace

OutputFile::OutputFile(const std::string& name)
    : m_path(name == "-" ? "/dev/stdout" : name), m_isStandardOutput(name == "-")
{
    auto wide = text::WideFromUtf8(m_path);
    if (!wide)
        throw HostError(kExitOutput, Format("can't write %s: its name isn't UTF-8", m_path.c_str()));
    m_widePath = std::move(*wide);
}

void OutputFile::CheckWritable(std::initializer_list<std::string> inputs, bool overwrite, bool mayAsk)
{
    struct stat status = {};
    if (m_isStandardOutput) {
        if (isatty(STDOUT_FILENO))
            Refuse(m_path, "the standard output is a terminal");
        return;
    }
    m_wasThere = lstat(m_path.c_str(), &status) == 0;
    if (stat(m_path.c_str(), &status) != 0) {
        CheckFolder();
        return;
    }
    m_before = status;
    if (S_ISDIR(status.st_mode))
        Refuse(m_path, "it's a folder");
    for (const std::string& input : inputs)
        if (IsSameFile(status, input))
            Refuse(m_path, "it's the input");
    if (access(m_path.c_str(), W_OK) != 0)
        Refuse(m_path, std::strerror(errno));
    if (!S_ISREG(status.st_mode) || overwrite)
        return;
    if (!mayAsk || !isatty(STDIN_FILENO) || !isatty(STDERR_FILENO))
        Refuse(m_path, "it exists (-y overwrites it)");
    if (!AskToOverwrite(m_path))
        Refuse(m_path, "it exists");
}

void OutputFile::CheckFolder() const
{
    const size_t slash = m_path.find_last_of('/');
    const std::string folder = slash == std::string::npos ? "." : m_path.substr(0, slash + 1);
    struct stat status = {};
    if (stat(folder.c_str(), &status) != 0 || access(folder.c_str(), W_OK | X_OK) != 0)
        Refuse(m_path, std::strerror(errno));
}

void OutputFile::Create() const
{
    struct stat status = {};
    if (stat(m_path.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
        return;
    const int file = open(m_path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    if (file < 0)
        throw HostError(kExitOutput, Format("can't create %s: %s", m_path.c_str(), std::strerror(errno)));
    close(file);
}

uint64_t OutputFile::Size() const
{
    struct stat status = {};
    const bool isPlain = stat(m_path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
    return isPlain ? static_cast<uint64_t>(status.st_size) : 0;
}

bool OutputFile::IsPlainFile() const
{
    struct stat status = {};
    return stat(m_path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

bool OutputFile::RemoveIfNew()
{
    struct stat status = {};
    if (lstat(m_path.c_str(), &status) != 0)
        return true;
    if (!m_wasThere)
        return S_ISREG(status.st_mode) && unlink(m_path.c_str()) == 0;
    const bool isUntouched = stat(m_path.c_str(), &status) == 0 && status.st_size == m_before.st_size &&
                             status.st_mtim.tv_sec == m_before.st_mtim.tv_sec &&
                             status.st_mtim.tv_nsec == m_before.st_mtim.tv_nsec;
    return isUntouched;
}

} // namespace host
