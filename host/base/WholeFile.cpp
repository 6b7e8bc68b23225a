#include "host/base/WholeFile.h"

#include "host/base/ExitCode.h"
#include "host/base/Text.h"
#include "host/base/WriteError.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace host
{

namespace
{

namespace fs = std::filesystem;

constexpr size_t kLargestFile = 256'000'000;

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

[[noreturn]] void Refuse(const std::string& path, int error)
{
    throw HostError(WriteErrorOf(error) ? kExitWrite : kExitOutput,
                    Format("can't write %s: %s", path.c_str(), WriteErrorText(error).c_str()));
}

// All of it, up to the device.
void WriteAndClose(std::FILE* file, std::string_view text, const std::string& path)
{
    const bool isWritten = std::fwrite(text.data(), 1, text.size(), file) == text.size() && std::fflush(file) == 0;
    const int error = errno;
    if (std::fclose(file) != 0 || !isWritten)
        Refuse(path, isWritten ? errno : error);
}

std::string FolderOf(const std::string& path)
{
    const size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

// As a file that is opened in the plain way would have them.
mode_t UsualMode()
{
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

void ReplaceFile(const std::string& path, std::string_view text, mode_t mode)
{
    std::string temporary = path + ".XXXXXX";
    const int descriptor = mkstemp(temporary.data());
    if (descriptor < 0)
        Refuse(path, errno);
    try {
        fchmod(descriptor, mode);
        std::FILE* const file = fdopen(descriptor, "w");
        if (!file) {
            const int error = errno;
            close(descriptor);
            Refuse(path, error);
        }
        WriteAndClose(file, text, path);
        if (std::rename(temporary.c_str(), path.c_str()) != 0)
            Refuse(path, errno);
    } catch (...) {
        unlink(temporary.c_str());
        throw;
    }
}

} // namespace

std::string ReadWholeFile(const std::string& path)
{
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path == "-" ? "/dev/stdin" : path.c_str(), "rbe"));
    std::string text;
    char piece[1 << 16];
    size_t size = 0;
    while (file && text.size() <= kLargestFile && (size = std::fread(piece, 1, sizeof(piece), file.get())) > 0)
        text.append(piece, size);
    if (!file || std::ferror(file.get()))
        throw HostError(kExitInput, Format("can't read %s: %s", path.c_str(), std::strerror(errno)));
    if (text.size() > kLargestFile)
        throw HostError(kExitInput, Format("%s is too large", path.c_str()));
    return text;
}

void CheckFilePlace(const std::string& path)
{
    struct stat status = {};
    const bool isThere = stat(path.c_str(), &status) == 0;
    if (isThere && S_ISDIR(status.st_mode))
        Refuse(path, EISDIR);
    const bool isReplaced = !isThere || S_ISREG(status.st_mode);
    if (path != "-" && access(isReplaced ? FolderOf(path).c_str() : path.c_str(), W_OK) != 0)
        Refuse(path, errno);
}

void WriteWholeFile(const std::string& path, std::string_view text)
{
    if (path == "-") {
        if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
            Refuse("the standard output", errno);
        return;
    }
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0)
        return ReplaceFile(path, text, UsualMode());
    if (S_ISREG(status.st_mode))
        return ReplaceFile(fs::canonical(path).string(), text, status.st_mode & 0777);
    std::FILE* const file = std::fopen(path.c_str(), "we");
    if (!file)
        Refuse(path, errno);
    WriteAndClose(file, text, path);
}

bool IsSamePath(const std::string& one, const std::string& other)
{
    std::error_code error;
    if (one.empty() || other.empty() || one == "-" || other == "-")
        return false;
    if (fs::equivalent(one, other, error))
        return true;
    const fs::path first = fs::weakly_canonical(fs::absolute(one, error), error);
    return !first.empty() && first == fs::weakly_canonical(fs::absolute(other, error), error);
}

} // namespace host
