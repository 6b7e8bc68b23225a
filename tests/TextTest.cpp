#include "encmgr/Log.h"
#include "text/FourCC.h"
#include "text/Utf.h"

#include <clocale>
#include <cmath>
#include <cwchar>
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace
{

// A result and the text that was written.
using Narrow = std::pair<ConversionResult, std::string>;
using Wide = std::pair<ConversionResult, std::wstring>;

// Converts between buffers of exactly the sizes told, on the heap. Units that stayed untouched are left out.
template <class Result, class Source, class Function>
Result Converted(Function pfnConvert, const Source& text, size_t room, bool strict)
{
    using Text = typename Result::second_type;
    const std::vector<typename Source::value_type> source(text.begin(), text.end());
    std::vector<typename Text::value_type> target(room, 1);
    const auto result =
        pfnConvert(source.data(), static_cast<int>(source.size()), target.data(), static_cast<int>(room), strict);
    const Text written(target.begin(), target.end());
    return {result, written.substr(0, written.find(1))};
}

Narrow ToUTF8(const std::wstring& text, size_t room, bool strict)
{
    return Converted<Narrow>(WtoUTF8, text, room, strict);
}
Wide FromUTF8(const std::string& text, size_t room, bool strict)
{
    return Converted<Wide>(UTF8toW, text, room, strict);
}

TEST(Utf, FromUTF8)
{
    const struct {
        const char* source;
        const wchar_t* text;
    } legal[] = {
        {"", L""},
        {"\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF", L"\x7F\x80\x7FF\x800\xFFFF"},
        {"\xED\x9F\xBF\xEE\x80\x80\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", L"\xD7FF\xE000\x10000\x10FFFF"},
    };
    // The length is tested before the bytes.
    const std::string exhausted = "\xC3 \xE2\x82 \xE2( \xFB\x80\x80\x80 \xFF\x80\x80\x80\x80";
    const std::string illegal =
        "\x80 \xBF \xC0\x80 \xC1\xBF \xC2\x7F \xE0\x9F\xBF \xE2\x82( \xE2\x82\xC0 \xF0\x8F\xBF\xBF "
        "\xF4\x90\x80\x80 \xF5\x80\x80\x80 \xF8\x88\x80\x80\x80 \xFE\x80\x80\x80\x80\x80";
    for (const bool strict : {false, true}) {
        for (const auto& [source, text] : legal)
            EXPECT_EQ(FromUTF8(source, 9, strict), Wide(conversionOK, text));
        for (const auto& [sources, result] :
             {std::pair(exhausted, sourceExhausted), std::pair(illegal, sourceIllegal)}) {
            std::istringstream list(sources);
            for (std::string source; list >> source;)
                EXPECT_EQ(FromUTF8("a" + source, 9, strict), Wide(result, L"a")) << testing::PrintToString(source);
        }
    }
}

TEST(Utf, WhatIsNoCharacter)
{
    EXPECT_EQ(FromUTF8("a\xED\xA0\x80z", 9, false), Wide(conversionOK, L"a\xFFFDz"));
    EXPECT_EQ(FromUTF8("a\xED\xBF\xBFz", 9, true), Wide(sourceIllegal, L"a"));
    EXPECT_EQ(FromUTF8("\xED\xA0\x80", 0, true), Wide(targetExhausted, L""));
    EXPECT_EQ(ToUTF8(L"a\xD800z", 9, false), Narrow(conversionOK, "a\xED\xA0\x80z"));
    EXPECT_EQ(ToUTF8(L"a\xDFFFz", 1, true), Narrow(sourceIllegal, "a"));
    for (const wchar_t unit : {static_cast<wchar_t>(0x110000), static_cast<wchar_t>(-1)})
        for (const bool strict : {false, true}) {
            const std::wstring text = {L'a', unit, L'z'};
            EXPECT_EQ(ToUTF8(text, 5, strict), Narrow(sourceIllegal, "a\xEF\xBF\xBDz"));
            EXPECT_EQ(ToUTF8(text, 4, strict), Narrow(targetExhausted, "a\xEF\xBF\xBD"));
        }
}

TEST(Utf, CharactersAreNeverCut)
{
    const std::wstring wide = L"a\xE4\x20AC\x1F600";
    const std::string narrow = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80";
    const size_t whole[] = {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 10};
    for (size_t room = 0; room < std::size(whole); ++room)
        EXPECT_EQ(ToUTF8(wide, room, true),
                  Narrow(room < 10 ? targetExhausted : conversionOK, narrow.substr(0, whole[room])));
    for (size_t room = 0; room <= 5; ++room)
        EXPECT_EQ(FromUTF8(narrow, room, true), Wide(room < 4 ? targetExhausted : conversionOK, wide.substr(0, room)));
}

TEST(Utf, EveryCodePointGoesThereAndBack)
{
    std::vector<KXDWORD> codes;
    for (KXDWORD code = 0; code <= 0x10FFFF; ++code)
        if (code < 0xD800 || code > 0xDFFF)
            codes.push_back(code);
    std::vector<unsigned char> bytes(0x80 + 0x780 * 2 + 0xF000 * 3 + 0x100000 * 4);
    ASSERT_EQ(ConvertUTF32toUTF8(codes.data(), codes.data() + codes.size(), bytes.data(), bytes.data() + bytes.size(),
                                 strictConversion),
              conversionOK);
    std::vector<KXDWORD> back(codes.size());
    ASSERT_EQ(ConvertUTF8toUTF32(bytes.data(), bytes.data() + bytes.size(), back.data(), back.data() + back.size(),
                                 strictConversion),
              conversionOK);
    EXPECT_TRUE(back == codes);
}

TEST(Utf, LengthMinusOneTakesTheTerminator)
{
    wchar_t wide[4] = {L'#', L'#', L'#', L'#'};
    EXPECT_EQ(UTF8toW("", -1, wide, 4, true), conversionOK);
    EXPECT_EQ(std::wstring(wide, 4), std::wstring(L"\0###", 4));
    EXPECT_EQ(UTF8toW("\xE2\x82", -1, wide, 4, false), sourceIllegal);
    EXPECT_EQ(UTF8toW("abcd", -1, wide, 4, false), targetExhausted);
    EXPECT_EQ(std::wstring(wide, 4), L"abcd");
    char narrow[4] = {'#', '#', '#', '#'};
    EXPECT_EQ(WtoUTF8(L"\xE4", -1, narrow, 4, true), conversionOK);
    EXPECT_EQ(std::string(narrow, 4), std::string("\xC3\xA4\0#", 4));

    EXPECT_EQ(UTF8toW(nullptr, -1, wide, 4, false), sourceIllegal);
    EXPECT_EQ(WtoUTF8(nullptr, 1, narrow, 4, false), sourceIllegal);
    EXPECT_EQ(WtoUTF8(nullptr, 0, narrow, 4, false), conversionOK);
    EXPECT_EQ(WtoUTF8(L"x", -2, narrow, 4, false), sourceIllegal);
    EXPECT_EQ(WtoUTF8(L"x", 1, nullptr, 4, false), targetExhausted);
    EXPECT_EQ(WtoUTF8(L"x", 1, narrow, -4, false), targetExhausted);
}

TEST(FourCC, PrintsLowestByteFirst)
{
    const auto text = [](KXDWORD code) {
        std::vector<wchar_t> buffer(5, L'#');
        EXPECT_EQ(FourCC2StrW(buffer.data(), code), buffer.data());
        return std::wstring(buffer.data(), 5);
    };
    EXPECT_EQ(text(0x59504F43), std::wstring(L"COPY\0", 5));
    EXPECT_EQ(FourCC2StrW(nullptr, 0), nullptr);
    EXPECT_EQ(text(0x80FF007F), std::wstring(L"\x7F\0??\0", 5));
}

// Logs a line and returns what the sink received.
template <class... Args> std::wstring Logged(const wchar_t* pszFormat, Args... args)
{
    std::wstring line;
    KXLogSetSink([](void* pLine, const wchar_t* pszText) { *static_cast<std::wstring*>(pLine) += pszText; }, &line);
    KXLogEx(pszFormat, args...);
    KXLogSetSink(nullptr, nullptr);
    return line;
}

TEST(Log, FormatsInEveryLocale)
{
    for (const char* locale : {"C", "C.UTF-8", "de_DE.UTF-8"}) {
        if (!std::setlocale(LC_ALL, locale))
            continue;
        EXPECT_EQ(Logged(L"%.03f sec/%d bytes", 0.5, 96000), L"0.500 sec/96000 bytes");
        EXPECT_EQ(Logged(L"%+6.1e|%-8g|%A|%Lf|%F", 1234.5, 0.5, 1.0, 2.5L, -INFINITY),
                  L"+1.2e+03|0.5     |0X1P+0|2.500000|-INF");
        EXPECT_EQ(Logged(L"%hhd %hhu %hd %hu %ld %lu", 0x1FF, 0x1FF, 0x1FFFF, 0x1FFFF, -5L, 5UL),
                  L"-1 255 -1 65535 -5 5");
        EXPECT_EQ(
            Logged(L"%lld %llx %zu %jd %td", -5000000000LL, 0xFEDCBA9876LL, size_t(7), intmax_t(-8), ptrdiff_t(-9)),
            L"-5000000000 fedcba9876 7 -8 -9");
        EXPECT_EQ(Logged(L"%05d|%-5i|%+d|% d|%#X|%#o|%.3u|%*d|%.*d", 42, 42, 42, 42, 42, 8, 7, -4, 1, 2, 3),
                  L"00042|42   |+42| 42|0X2A|010|007|1   |03");
        EXPECT_EQ(Logged(L"%s|%5s|%-5s|%.3s|%.4s|%.*s", "gr\xC3\xBC\xC3\x9F", "\xC3\xA4", "\xF0\x9F\x98\x80",
                         "\xE2\x82\xAC", "a\xE2\x82\xAC", -1, "all"),
                  L"gr\xFC\xDF|    \xE4|\x1F600    |\x20AC|a\x20AC|all");
        EXPECT_EQ(Logged(L"%ls|%4ls|%.2ls|%lc%c%3c", L"\x20AC\xE4", L"\xE4", L"abc", L'\x20AC', 'x', 'y'),
                  L"\x20AC\xE4|   \xE4|ab|\x20ACx  y");
        EXPECT_EQ(Logged(L"%s|%ls|%%|%c|%c|", static_cast<char*>(nullptr), static_cast<wchar_t*>(nullptr), 0, 0xE4),
                  L"(null)|(null)|%||\xFFFD|");
        EXPECT_EQ(Logged(L"%p", reinterpret_cast<void*>(0x1234)), L"0x1234");
    }
    std::setlocale(LC_ALL, "C");
}

TEST(Log, NoCharacterAndNoDirectiveLosesALine)
{
    EXPECT_EQ(Logged(L"%s.", "a\xFF\xE2\x82z\xED\xA0\x80\xF0"), L"a\xFFFD\xFFFD\xFFFDz\xFFFD\xFFFD.");
    EXPECT_EQ(Logged(L"%ls.", L"a\xD800\x7FFFFFFFz"), L"a\xFFFD\xFFFDz.");
    const wchar_t* const unknown = L"100%yes %hf %99999999999d %.99999999999d %Ls %hc %Ld %Lu %lp %l% ";
    EXPECT_EQ(Logged((unknown + std::wstring(L"%d%")).c_str(), 5), unknown + std::wstring(L"5%"));
    const char* const exact = new char[3]{'a', '\xE2', '\x82'}; // no terminator, and a character that is cut
    EXPECT_EQ(Logged(L"%.3s|%.1s|%.0s|", exact, exact, exact), L"a|a||");
    delete[] exact;
    const std::wstring text(100000, L'\x20AC');
    EXPECT_EQ(Logged(L"%ls%100000d", text.c_str(), 1), text + std::wstring(99999, L' ') + L"1");
}

TEST(Log, StandardErrorGetsOneLineOfUTF8)
{
    testing::internal::CaptureStderr();
    KXLog(L"***a\r\nb\rc\n\td\x20AC\xD800\r\n\n");
    KXLog(L"");
    KXLog(nullptr);
    KXLogEx(nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "***a\nb\rc\n\td\xE2\x82\xAC\xEF\xBF\xBD\n\n");
}

TEST(Log, SinkMayLogAndEndlessLoggingEnds)
{
    static int calls;
    testing::internal::CaptureStderr();
    KXLogSetSink([](void*, const wchar_t*) { ++calls, KXLog(L"again"); }, nullptr);
    KXLog(L"once");
    KXLogSetSink(nullptr, nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "again\n");
    EXPECT_GT(calls, 1);
}

TEST(Log, ThreadsDontMeetInASink)
{
    std::wstring lines;
    KXLogSetSink([](void* pLines, const wchar_t* psz) { *static_cast<std::wstring*>(pLines) += psz; }, &lines);
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([] {
            for (int k = 0; k < 1000; ++k)
                KXLogEx(L"%d", 1);
        });
    threads.clear();
    KXLogSetSink(nullptr, nullptr);
    EXPECT_EQ(lines, std::wstring(4000, L'1'));
}

TEST(AppPath, IsTheExecutablesFolderOrWhatTheHostSet)
{
    wchar_t path[4096];
    GetAppPath(path, 4095);
    const std::wstring folder = std::filesystem::read_symlink("/proc/self/exe").parent_path().wstring();
    EXPECT_EQ(path, folder);
    path[4] = L'#';
    GetAppPath(path, -1);
    GetAppPath(nullptr, 3);
    GetAppPath(path, 3);
    EXPECT_EQ(std::wstring(path, 5), folder.substr(0, 3) + std::wstring(L"\0#", 2));
    for (const auto& [set, expected] : {std::pair(L"/opt/\x20AC/", L"/opt/\x20AC"), std::pair(L"/", L"")}) {
        KXLogSetAppPath(set);
        GetAppPath(path, 4095);
        EXPECT_STREQ(path, expected);
    }
    KXLogSetAppPath(nullptr);
    GetAppPath(path, 4095);
    EXPECT_EQ(path, folder);
}

} // namespace
