#include "host/job/OutputFile.h"

#include "host/base/ExitCode.h"
#include "host/base/Interrupt.h"
#include "host/base/Termination.h"
#include "host/base/Text.h"
#include "host/base/WriteError.h"
#include "host/job/OutputNames.h"
#include "text/Strings.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace host
{

namespace
{

constexpr int kMostNames = 100; // that are tried

[[noreturn]] void Refuse(const std::string& path, const char* reason)
{
    throw HostError(kExitOutput, Format("can't write %s: %s", path.c_str(), reason));
}

[[noreturn]] void FailToCreate(const std::string& path, int error)
{
    if (WriteErrorOf(error) && error != EROFS)
        throw HostError(kExitWrite, Format("can't create %s: %s", path.c_str(), WriteErrorText(error).c_str()));
    throw HostError(kExitOutput, Format("can't create %s: %s", path.c_str(), std::strerror(error)));
}

bool IsSameFile(const struct stat& one, const struct stat& other)
{
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

bool IsInput(const struct stat& output, const std::string& input)
{
    struct stat status = {};
    const int result = input == "-" ? fstat(STDIN_FILENO, &status) : stat(input.c_str(), &status);
    return result == 0 && S_ISREG(status.st_mode) && IsSameFile(output, status);
}

bool AskToOverwrite(const std::string& path)
{
    std::fprintf(stderr, "encmgr: %s exists. Overwrite it? [y/N] ", path.c_str());
    std::fflush(stderr);
    char answer[16] = {};
    const bool hasAnswer = std::fgets(answer, sizeof(answer), stdin) && !InterruptSignal();
    return hasAnswer && (answer[0] == 'y' || answer[0] == 'Y');
}

// Brings the closed file to the disk. What the system told nobody yet, a full disk behind a network for instance, it
// tells now.
struct stat Finish(const std::string& path, const std::string& shownPath)
{
    const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    struct stat status = {};
    if (file < 0 || fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) {
        const int error = errno;
        if (file >= 0)
            close(file);
        throw HostError(kExitJob,
                        Format("%s: the file that was written is gone: %s", shownPath.c_str(), std::strerror(error)));
    }
    const int error = fsync(file) == 0 ? 0 : WriteErrorOf(errno);
    close(file);
    if (error && error != EROFS)
        throw HostError(kExitWrite, Format("can't write %s: %s", shownPath.c_str(), WriteErrorText(error).c_str()));
    if (status.st_size == 0)
        throw HostError(kExitJob, Format("%s: the file is empty", shownPath.c_str()));
    return status;
}

// Only root can give files away. A group that the user isn't in can't be kept; then no other one gets its rights.
void CopyPermissions(int file, const struct stat& from)
{
    const auto owner = geteuid() == 0 ? from.st_uid : static_cast<uid_t>(-1);
    const bool hasGroup = fchown(file, owner, from.st_gid) == 0;
    fchmod(file, from.st_mode & (hasGroup ? 0777 : 0707));
}

// False, with errno, if it can't be done. What has the name goes only if it may.
bool Rename(const std::string& from, const std::string& to, bool mayReplace)
{
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), mayReplace ? 0 : RENAME_NOREPLACE) == 0)
        return true;
    if (mayReplace || (errno != EINVAL && errno != ENOSYS))
        return false;
    // This file system can't do both at once.
    struct stat status = {};
    if (lstat(to.c_str(), &status) == 0)
        errno = EEXIST;
    else
        return rename(from.c_str(), to.c_str()) == 0;
    return false;
}

bool CopyInto(const std::string& from, const std::string& to)
{
    std::ifstream in(from, std::ios::binary);
    std::ofstream out(to, std::ios::binary);
    out << in.rdbuf();
    out.close();
    return in && out;
}

} // namespace

OutputFile::OutputFile(const std::string& name)
    : m_path(name == "-" ? "/dev/stdout" : name), m_writePath(m_path), m_isStandardOutput(name == "-")
{
    auto wide = text::WideFromUtf8(m_path);
    if (!wide)
        throw HostError(kExitOutput, Format("can't write %s: its name isn't UTF-8", m_path.c_str()));
    m_widePath = std::move(*wide);
}

OutputFile::~OutputFile()
{
    if (IsTemporary())
        unlink(m_writePath.c_str());
    SetUnfinishedFile("");
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
    m_mayReplace = overwrite;
    if (stat(m_path.c_str(), &status) != 0) {
        CheckFolder();
        return;
    }
    m_before = status;
    if (S_ISDIR(status.st_mode))
        Refuse(m_path, "it's a folder");
    for (const std::string& input : inputs)
        if (IsInput(status, input))
            Refuse(m_path, "it's the input");
    if (access(m_path.c_str(), W_OK) != 0)
        Refuse(m_path, std::strerror(errno));
    if (!S_ISREG(status.st_mode) || overwrite)
        return;
    if (!mayAsk || !isatty(STDIN_FILENO) || !isatty(STDERR_FILENO))
        Refuse(m_path, "it exists (-y overwrites it)");
    if (!AskToOverwrite(m_path))
        Refuse(m_path, "it exists");
    m_mayReplace = true;
}

void OutputFile::CheckFolder() const
{
    const size_t slash = m_path.find_last_of('/');
    const std::string folder = slash == std::string::npos ? "." : m_path.substr(0, slash + 1);
    struct stat status = {};
    if (stat(folder.c_str(), &status) != 0 || access(folder.c_str(), W_OK | X_OK) != 0)
        Refuse(m_path, std::strerror(errno));
}

void OutputFile::Create()
{
    struct stat status = {};
    const bool isThere = stat(m_path.c_str(), &status) == 0;
    if ((isThere && !S_ISREG(status.st_mode)) || IsSequence(m_path))
        return;
    if (m_isStandardOutput || !CreateTemporary())
        CreateDirectly();
    m_isMade = true;
}

// False if the file has to be written directly.
bool OutputFile::CreateTemporary()
{
    const auto target = TargetOf(m_path);
    for (int i = 0; target && i < kMostNames; ++i) {
        const std::string name = TemporaryName(*target);
        const auto wide = text::WideFromUtf8(name);
        if (!wide)
            return false;
        const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (file >= 0) {
            if (S_ISREG(m_before.st_mode))
                CopyPermissions(file, m_before);
            close(file);
            m_target = *target;
            m_writePath = name;
            m_widePath = *wide;
            SetUnfinishedFile(name);
            return true;
        }
        if (errno == ENOSPC || errno == EDQUOT)
            FailToCreate(m_path, errno);
        if (errno != EEXIST)
            return false;
    }
    return false;
}

void OutputFile::CreateDirectly()
{
    const int file = open(m_path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    if (file < 0)
        FailToCreate(m_path, errno);
    fstat(file, &m_made);
    close(file);
}

void OutputFile::Publish()
{
    if (!m_isMade)
        return;
    struct stat finished = Finish(m_writePath, m_path);
    if (!IsTemporary() && !IsSameFile(finished, m_made))
        throw HostError(kExitJob, Format("%s: another file has taken its place", m_path.c_str()));
    if (IsTemporary())
        TakeName(finished);
    m_isSettled = true;
    struct stat status = {};
    if (stat(m_path.c_str(), &status) != 0 || !IsSameFile(status, finished) || status.st_size != finished.st_size)
        throw HostError(kExitJob, Format("%s: what stands there isn't what was written", m_path.c_str()));
}

void OutputFile::TakeName(struct stat& finished)
{
    if (!Rename(m_writePath, m_target, m_mayReplace)) {
        const int error = errno;
        // What can't be replaced, such as a mount point in a container, may still be filled.
        if (!m_mayReplace || !CopyInto(m_writePath, m_target))
            Keep(error);
        const off_t size = finished.st_size;
        finished = Finish(m_target, m_path);
        if (finished.st_size != size)
            Keep(EIO);
        unlink(m_writePath.c_str());
    }
    SetUnfinishedFile("");
    m_writePath = m_path;
}

void OutputFile::Keep(int error)
{
    SetUnfinishedFile("");
    const std::string kept = std::exchange(m_writePath, m_path);
    m_isSettled = true;
    throw HostError(kExitOutput, Format("can't write %s: %s; the finished file is %s", m_path.c_str(),
                                        error == EEXIST ? "it exists by now" : std::strerror(error), kept.c_str()));
}

uint64_t OutputFile::Size() const
{
    struct stat status = {};
    const bool isPlain = stat(m_writePath.c_str(), &status) == 0 && S_ISREG(status.st_mode);
    return isPlain ? static_cast<uint64_t>(status.st_size) : 0;
}

bool OutputFile::IsPlainFile() const
{
    struct stat status = {};
    return stat(m_writePath.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

bool OutputFile::Discard()
{
    struct stat status = {};
    if (m_isSettled)
        return true;
    if (IsTemporary()) {
        m_isSettled = unlink(m_writePath.c_str()) == 0;
        m_writePath = m_path;
        return true;
    }
    if (lstat(m_path.c_str(), &status) != 0)
        return true;
    if (!m_wasThere)
        return S_ISREG(status.st_mode) && unlink(m_path.c_str()) == 0;
    return stat(m_path.c_str(), &status) == 0 && status.st_size == m_before.st_size &&
           status.st_mtim.tv_sec == m_before.st_mtim.tv_sec && status.st_mtim.tv_nsec == m_before.st_mtim.tv_nsec;
}

} // namespace host
