#include "host/base/Values.h"

#include <charconv>
#include <climits>
#include <cmath>
#include <string>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace host
{

namespace
{

struct TwoParts {
    std::string_view first, second;
};

std::optional<TwoParts> SplitAt(std::string_view text, std::string_view separators)
{
    const size_t at = text.find_first_of(separators);
    if (at == std::string_view::npos)
        return std::nullopt;
    return TwoParts{text.substr(0, at), text.substr(at + 1)};
}

// The television rates are whole numbers slowed down by 1000/1001, and are mostly written with two or three decimals.
std::optional<AVRational> TelevisionRate(double rate)
{
    const double whole = std::ceil(rate);
    if (whole < 24.0)
        return std::nullopt;
    const double exact = whole * 1000.0 / 1001.0;
    if (std::fabs(rate - exact) > 0.005)
        return std::nullopt;
    return AVRational{static_cast<int>(whole) * 1000, 1001};
}

} // namespace

std::optional<int64_t> ParseInteger(std::string_view text, int64_t least, int64_t most)
{
    int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < least || value > most)
        return std::nullopt;
    return value;
}

std::optional<double> ParseNumber(std::string_view text)
{
    double value = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value))
        return std::nullopt;
    return value;
}

std::optional<PictureSize> ParseSize(std::string_view text, int least, int most)
{
    const auto parts = SplitAt(text, "xX");
    if (!parts)
        return std::nullopt;
    const auto width = ParseInteger(parts->first, least, most);
    const auto height = ParseInteger(parts->second, least, most);
    if (!width || !height)
        return std::nullopt;
    return PictureSize{static_cast<int>(*width), static_cast<int>(*height)};
}

std::optional<PictureSize> ParseSizeOrSide(std::string_view text, int least, int most)
{
    const auto parts = SplitAt(text, "xX");
    if (!parts)
        return std::nullopt;
    const auto side = [least, most](std::string_view part) -> std::optional<int64_t> {
        return part.empty()   ? kFree
               : part == "-1" ? kFreeAny
               : part == "-2" ? kFreeEven
                              : ParseInteger(part, least, most);
    };
    const auto width = side(parts->first), height = side(parts->second);
    if (!width || !height || (*width <= 0 && *height <= 0))
        return std::nullopt;
    return PictureSize{static_cast<int>(*width), static_cast<int>(*height)};
}

std::optional<int64_t> ParseTime(std::string_view text)
{
    constexpr int64_t kMostSeconds = 1'000'000'000;
    int64_t seconds = 0;
    int colons = 0;
    for (auto parts = SplitAt(text, ":"); parts; parts = SplitAt(text, ":")) {
        const auto number = ParseInteger(parts->first, 0, colons == 0 ? kMostSeconds / 3600 : 59);
        if (!number || ++colons > 2)
            return std::nullopt;
        seconds = (seconds + *number) * 60;
        text = parts->second;
    }
    const auto decimals = SplitAt(text, ".");
    const auto whole = ParseInteger(decimals ? decimals->first : text, 0, colons == 0 ? kMostSeconds : 59);
    if (!whole || text.front() == '-')
        return std::nullopt;
    std::string nanoseconds(decimals ? decimals->second : "0");
    if (nanoseconds.empty() || nanoseconds.size() > 9 ||
        nanoseconds.find_first_not_of("0123456789") != std::string::npos)
        return std::nullopt;
    nanoseconds.resize(9, '0');
    return (seconds + *whole) * 1'000'000'000 + ParseInteger(nanoseconds, 0, 999'999'999).value_or(0);
}

std::optional<AVRational> ParseRate(std::string_view text)
{
    AVRational rate = {0, 1};
    if (const auto parts = SplitAt(text, "/")) {
        const auto num = ParseInteger(parts->first, 1, INT_MAX);
        const auto den = ParseInteger(parts->second, 1, INT_MAX);
        if (!num || !den)
            return std::nullopt;
        rate = {static_cast<int>(*num), static_cast<int>(*den)};
    } else {
        const auto value = ParseNumber(text);
        if (!value || *value > kHighestRate)
            return std::nullopt;
        rate = TelevisionRate(*value).value_or(av_d2q(*value, 1000000));
    }
    if (av_q2d(rate) < kLowestRate || av_q2d(rate) > kHighestRate)
        return std::nullopt;
    return rate;
}

std::optional<int> ParseBitRate(std::string_view text)
{
    double unit = 1.0;
    if (!text.empty()) {
        const char last = text.back();
        unit = last == 'k' || last == 'K' ? 1e3 : last == 'M' || last == 'm' ? 1e6 : 1.0;
        if (unit != 1.0)
            text.remove_suffix(1);
    }
    const auto value = ParseNumber(text);
    if (!value || *value * unit < 1000.0 || *value * unit > INT_MAX)
        return std::nullopt;
    return static_cast<int>(*value * unit + 0.5);
}

std::optional<AVRational> ParseAspect(std::string_view text)
{
    const auto parts = SplitAt(text, ":");
    if (!parts)
        return std::nullopt;
    const auto across = ParseInteger(parts->first, 1, 1000);
    const auto down = ParseInteger(parts->second, 1, 1000);
    if (!across || !down)
        return std::nullopt;
    return AVRational{static_cast<int>(*across), static_cast<int>(*down)};
}

} // namespace host
