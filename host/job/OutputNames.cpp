#include "host/job/OutputNames.h"

#include <climits>
#include <random>

namespace host
{

namespace
{

constexpr int kMostLinks = 40; // that a path goes over, as the system counts

} // namespace

bool IsSequence(const std::string& path)
{
    for (size_t at = path.find('%'); at != std::string::npos; at = path.find('%', at + 1)) {
        const size_t end = path.find_first_not_of("0123456789", at + 1);
        if (end != std::string::npos && path[end] == 'd')
            return true;
    }
    return false;
}

std::optional<std::string> TargetOf(std::filesystem::path path)
{
    std::error_code isNoLink;
    for (int links = 0; links < kMostLinks; ++links) {
        if (path.native().starts_with("/proc/") || path.native().starts_with("/dev/fd/"))
            return std::nullopt;
        const std::filesystem::path next = std::filesystem::read_symlink(path, isNoLink);
        if (isNoLink)
            return path.native();
        path = path.parent_path() / next;
    }
    return std::nullopt;
}

std::string TemporaryName(const std::string& target)
{
    const size_t start = target.find_last_of('/') + 1; // npos + 1 is 0
    const size_t dot = target.find_last_of('.');
    const size_t end = dot == std::string::npos || dot <= start ? target.size() : dot;
    std::string mark = ".part-";
    std::random_device device;
    for (int i = 0; i < 6; ++i)
        mark += "abcdefghijklmnopqrstuvwxyz0123456789"[device() % 36];
    mark += target.substr(end);

    size_t cut = end;
    if (end - start + mark.size() > NAME_MAX && mark.size() < NAME_MAX) {
        cut = start + NAME_MAX - mark.size();
        while (cut > start && (static_cast<unsigned char>(target[cut]) & 0xC0) == 0x80)
            --cut;
    }
    return target.substr(0, cut) + mark;
}

} // namespace host
