#include "text/Strings.h"

#include "text/Utf.h"

#include <algorithm>

namespace text
{

namespace
{

constexpr size_t kMostBytes = 4; // of one character

// A character at a time, since the conversions count in ints.
ConversionResult Append(std::string& utf8, wchar_t unit)
{
    char bytes[kMostBytes] = {};
    const ConversionResult result = WtoUTF8(&unit, 1, bytes, kMostBytes, true);
    const auto lead = static_cast<unsigned char>(bytes[0]);
    utf8.append(bytes, lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4);
    return result;
}

} // namespace

std::optional<std::string> Utf8FromWide(std::wstring_view text)
{
    std::string utf8;
    for (const wchar_t unit : text)
        if (Append(utf8, unit) != conversionOK)
            return std::nullopt;
    return utf8;
}

std::optional<std::wstring> WideFromUtf8(std::string_view text)
{
    std::wstring wide;
    while (!text.empty()) {
        wchar_t unit = 0;
        int length = 1;
        const int most = static_cast<int>(std::min(text.size(), kMostBytes));
        while (length < most && UTF8toW(text.data(), length, &unit, 1, true) == sourceExhausted)
            ++length;
        if (UTF8toW(text.data(), length, &unit, 1, true) != conversionOK)
            return std::nullopt;
        wide += unit;
        text.remove_prefix(static_cast<size_t>(length));
    }
    return wide;
}

std::string ShownUtf8(std::wstring_view text)
{
    constexpr wchar_t kReplacement = 0xFFFD;
    std::string utf8;
    for (const wchar_t unit : text)
        if (std::string one; Append(one, unit) == conversionOK)
            utf8 += one;
        else
            Append(utf8, kReplacement);
    return utf8;
}

} // namespace text
