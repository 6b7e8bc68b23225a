#include "host/job/OutputNames.h"

#include "host/base/Text.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <random>

namespace host
{

namespace
{

constexpr int kMostLinks = 40; // that a path goes over, as the system counts

// The place of a number, as printf writes it; of no length if there is none.
struct NumberPlace {
    size_t at = 0, length = 0;
};

// Of the file name, behind the last "/".
NumberPlace FindNumber(const std::string& path)
{
    for (size_t at = path.find('%', path.rfind('/') + 1); at != std::string::npos; at = path.find('%', at + 1)) {
        const size_t end = path.find_first_not_of("0123456789", at + 1);
        if (end != std::string::npos && path[end] == 'd')
            return {at, end + 1 - at};
    }
    return {};
}

} // namespace

bool IsSequence(const std::string& path)
{
    return FindNumber(path).length > 0;
}

std::string SequenceOf(const std::string& path)
{
    const size_t name = path.rfind('/') + 1; // 0 without a folder
    const size_t dot = path.rfind('.');
    const bool hasEnding = dot != std::string::npos && dot > name;
    std::string sequence = path;
    return sequence.insert(hasEnding ? dot : path.size(), "-%05d");
}

std::string FirstOf(const std::string& path)
{
    const NumberPlace place = FindNumber(path);
    if (place.length == 0)
        return path;
    const int digits = std::atoi(path.c_str() + place.at + 1);
    std::string first = path;
    return first.replace(place.at, place.length, Format("%0*d", std::min(std::max(digits, 1), 255), 1));
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
