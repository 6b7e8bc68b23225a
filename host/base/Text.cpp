#include "host/base/Text.h"

#include <cctype>
#include <cmath>
#include <cstdarg>
#include <cstdio>

namespace host
{

std::string FourCCText(KXDWORD fourCC)
{
    std::string text;
    for (int shift = 0; shift < 32; shift += 8) {
        const auto byte = static_cast<unsigned char>(fourCC >> shift);
        text += byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '?';
    }
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

std::string Lower(std::string_view text)
{
    std::string lower(text);
    for (char& c : lower)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return lower;
}

std::string Folded(std::string_view text)
{
    std::string folded = Lower(text);
    std::erase_if(folded, [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x80 && !std::isalnum(byte);
    });
    return folded;
}

std::string Format(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(nullptr, 0, format, args);
    va_end(args);
    std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

std::string SizeText(uint64_t bytes)
{
    if (bytes < 1000)
        return Format("%d B", static_cast<int>(bytes));
    const char* const units[] = {"kB", "MB", "GB", "TB"};
    double value = static_cast<double>(bytes) / 1000.0;
    int unit = 0;
    for (; value >= 999.95 && unit < 3; ++unit)
        value /= 1000.0;
    return Format("%.1f %s", value, units[unit]);
}

std::string ClockText(double seconds)
{
    if (!(seconds >= 0.0))
        seconds = 0.0;
    const auto whole = static_cast<int64_t>(std::fmin(seconds, 1e9));
    const int hours = static_cast<int>(whole / 3600);
    const int minutes = static_cast<int>(whole / 60 % 60);
    const int rest = static_cast<int>(whole % 60);
    return hours ? Format("%d:%02d:%02d", hours, minutes, rest) : Format("%d:%02d", minutes, rest);
}

} // namespace host
