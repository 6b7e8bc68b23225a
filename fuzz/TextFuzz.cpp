// UTF conversions against a decoder by definition, and lines of the log against what the C library prints.
#include "encmgr/Log.h"
#include "fuzz/FuzzInput.h"
#include "log/WideFormat.h"
#include "text/FourCC.h"
#include "text/Strings.h"
#include "text/Utf.h"

#include <array>
#include <optional>

namespace
{

// The shortest form of a value up to U+10FFFF.
std::string Encoded(uint32_t code)
{
    const auto trailing = [code](int shift) { return static_cast<char>(0x80 | (code >> shift & 0x3F)); };
    if (code < 0x80)
        return {static_cast<char>(code)};
    if (code < 0x800)
        return {static_cast<char>(0xC0 | code >> 6), trailing(0)};
    if (code < 0x10000)
        return {static_cast<char>(0xE0 | code >> 12), trailing(6), trailing(0)};
    return {static_cast<char>(0xF0 | code >> 18), trailing(12), trailing(6), trailing(0)};
}

bool IsSurrogate(uint32_t code)
{
    return code >= 0xD800 && code < 0xE000;
}

using Wide = std::pair<ConversionResult, std::wstring>;

// A sequence stands for the value whose shortest form it is.
Wide Decoded(std::string_view text, size_t room, bool strict)
{
    Wide wide;
    while (!text.empty()) {
        const auto first = static_cast<unsigned char>(text[0]);
        const size_t length = first < 0xC0   ? 1
                              : first < 0xE0 ? 2
                              : first < 0xF0 ? 3
                              : first < 0xF8 ? 4
                              : first < 0xFC ? 5
                                             : 6;
        if (text.size() < length)
            return {sourceExhausted, wide.second};
        uint32_t code = length == 1 ? first : first & (0x7F >> length);
        for (size_t i = 1; i < length; ++i)
            code = code << 6 | (static_cast<unsigned char>(text[i]) & 0x3Fu);
        if (code > 0x10FFFF || Encoded(code) != text.substr(0, length))
            return {sourceIllegal, wide.second};
        if (wide.second.size() == room)
            return {targetExhausted, wide.second};
        if (IsSurrogate(code) && strict)
            return {sourceIllegal, wide.second};
        wide.second += static_cast<wchar_t>(IsSurrogate(code) ? 0xFFFD : code);
        text.remove_prefix(length);
    }
    return wide;
}

void CheckUtf(FuzzInput& input)
{
    const bool strict = input.Random(0, 1) != 0;
    const size_t room = input.Random(0, 40);
    const std::string text = input.Text(64);
    const std::vector<char> bytes(text.begin(), text.end()); // to the byte on the heap
    std::vector<wchar_t> target(room);
    const Wide expected = Decoded(text, room, strict);
    Expect(UTF8toW(bytes.data(), static_cast<int>(bytes.size()), target.data(), static_cast<int>(room), strict) ==
                   expected.first &&
               std::equal(expected.second.begin(), expected.second.end(), target.begin()),
           "UTF8toW");

    std::vector<wchar_t> units(input.Random(0, 24));
    std::string all;
    ConversionResult result = conversionOK;
    for (wchar_t& unit : units)
        unit = static_cast<wchar_t>(input.Raw<uint32_t>() >> input.Random(0, 31));
    for (const wchar_t unit : units) {
        const auto code = static_cast<uint32_t>(unit); // NOLINT(bugprone-signed-char-misuse): it isn't a char
        if (strict && IsSurrogate(code)) {
            result = sourceIllegal;
            break;
        }
        const std::string encoded = Encoded(code > 0x10FFFF ? 0xFFFD : code);
        if (code > 0x10FFFF)
            result = sourceIllegal;
        if (all.size() + encoded.size() > room) {
            result = targetExhausted;
            break;
        }
        all += encoded;
    }
    std::vector<char> narrow(room);
    Expect(WtoUTF8(units.data(), static_cast<int>(units.size()), narrow.data(), static_cast<int>(room), strict) ==
                   result &&
               std::equal(all.begin(), all.end(), narrow.begin()),
           "WtoUTF8");
}

// Strings there and back, what names a file and what people read.
void CheckStrings(FuzzInput& input)
{
    const std::string text = input.Text(64);
    const std::optional<std::wstring> wide = text::WideFromUtf8(text);
    const Wide expected = Decoded(text, SIZE_MAX, true);
    Expect(wide.has_value() == (expected.first == conversionOK), "WideFromUtf8");
    Expect(!wide || (*wide == expected.second && text::Utf8FromWide(*wide) == text && text::ShownUtf8(*wide) == text),
           "Utf8FromWide");
    std::array<wchar_t, 5> fourCC = {};
    FourCC2StrW(fourCC.data(), input.Raw<uint32_t>());
    KXLogSetAppPath(expected.second.c_str());
    std::vector<wchar_t> path(static_cast<size_t>(input.Random(0, 20)) + 1, 1);
    GetAppPath(path.data(), static_cast<int>(path.size()) - 1);
    Expect(std::find(path.begin(), path.end(), 0) != path.end(), "GetAppPath");
}

std::wstring Formatted(const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    LineMemory memory;
    std::wstring text(FormatWide(memory, format, args));
    va_end(args);
    return text;
}

struct Directive {
    std::string flags;
    std::optional<int> width, precision; // by "*"

    explicit Directive(FuzzInput& input)
    {
        for (int i = input.Random(0, 3); i > 0; --i)
            flags += "-+ #0"[input.Random(0, 4)];
        if (input.Random(0, 1))
            width = input.Random(-60, 60);
        if (input.Random(0, 1))
            precision = input.Random(-3, 60);
    }

    // "%-*.5ld" and its like, with the numbers in it.
    std::string Text(const std::string& conversion) const
    {
        const std::string left = width.value_or(0) < 0 ? "-" : "";
        return "%" + flags + left + (width ? std::to_string(std::abs(*width)) : "") +
               (precision && *precision >= 0 ? "." + std::to_string(*precision) : "") + conversion;
    }
};

// The library's wide text, and what printf makes of the same.
template <class Number> void ExpectAsPrintf(const Directive& directive, const std::string& conversion, Number number)
{
    const std::string format = "<" + directive.Text(conversion) + ">";
    std::array<char, 6000> narrow = {};
    std::snprintf(narrow.data(), narrow.size(), format.c_str(), number);
    const std::wstring made = Formatted(std::wstring(format.begin(), format.end()).c_str(), number);
    Expect(std::equal(made.begin(), made.end(), narrow.data(), narrow.data() + std::strlen(narrow.data())),
           format.c_str());
}

void CheckFormat(FuzzInput& input)
{
    const Directive d(input);
    static constexpr const char* wholes[] = {"d", "i", "u", "x", "X", "o"};
    static constexpr const char* reals[] = {"f", "F", "e", "E", "g", "G", "a", "A"};
    const std::string whole = wholes[input.Random(0, 5)], real = reals[input.Random(0, 7)];
    const auto number = input.Raw<int64_t>();
    ExpectAsPrintf(d, "hh" + whole, static_cast<int>(number));
    ExpectAsPrintf(d, "h" + whole, static_cast<int>(number));
    ExpectAsPrintf(d, whole, static_cast<int>(number));
    ExpectAsPrintf(d, "l" + whole, static_cast<long>(number));
    ExpectAsPrintf(d, "ll" + whole, static_cast<long long>(number));
    ExpectAsPrintf(d, "j" + whole, static_cast<intmax_t>(number));
    ExpectAsPrintf(d, "z" + whole, static_cast<size_t>(number));
    ExpectAsPrintf(d, "t" + whole, static_cast<ptrdiff_t>(number));
    ExpectAsPrintf(d, real, input.Raw<double>());
    ExpectAsPrintf(d, "L" + real, static_cast<long double>(input.Raw<double>()));

    // ASCII is the same in bytes and units.
    std::string text = input.Text(40);
    std::transform(text.begin(), text.end(), text.begin(), [](char c) { return static_cast<char>(c & 0x7F); });
    text = text.substr(0, text.find('\0'));
    const std::wstring wide(text.begin(), text.end());
    const std::string format = Directive(d).Text("ls"), narrow = d.Text("s");
    Expect(Formatted(std::wstring(format.begin(), format.end()).c_str(), wide.c_str()) ==
               Formatted(std::wstring(narrow.begin(), narrow.end()).c_str(), text.c_str()),
           "%ls and %s differ");
    // What is no directive stands as it is, with any bytes around.
    const std::wstring unknown = L"%" + wide.substr(0, wide.find_first_of(L"%*sScCdiuxXofFeEgGaApn"));
    Expect(Formatted(unknown.c_str()) == unknown, "an unknown directive is changed");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzInput input(data, size);
    switch (input.Random(0, 2)) {
    case 0:
        CheckUtf(input);
        break;
    case 1:
        CheckStrings(input);
        break;
    default:
        CheckFormat(input);
    }
    return 0;
}
