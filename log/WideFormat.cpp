#include "log/WideFormat.h"

#include "text/Utf.h"

#include <algorithm>
#include <climits>
#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <limits>
#include <string_view>
#include <type_traits>

namespace
{

constexpr wchar_t kReplacement = 0xFFFD;
constexpr size_t kUsualUnits = 500; // of a line; longer ones are copied as they grow

// The "C" locale on this thread for a scope.
class CLocale
{
public:
    CLocale()
    {
        static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", nullptr);
        m_previous = uselocale(cLocale);
    }
    ~CLocale() { uselocale(m_previous); }
    CLocale(const CLocale&) = delete;
    CLocale& operator=(const CLocale&) = delete;

private:
    locale_t m_previous;
};

enum class Length { none, hh, h, l, ll, z, j, t, L };

// One directive, parsed up to its conversion letter.
struct Directive {
    std::string flags;
    int width = 0;
    int precision = -1; // -1: none
    Length length = Length::none;
    wchar_t conversion = 0;
};

// UTF-8 up to its terminator or its first maxBytes bytes.
std::wstring Widen(const char* pszText, size_t maxBytes)
{
    std::wstring text;
    const char* p = pszText;
    const auto left = [&] { return maxBytes - static_cast<size_t>(p - pszText); };
    while (left() > 0 && *p) {
        // Asks for one more byte as long as the character is incomplete and the text goes on.
        wchar_t unit = 0;
        int length = 1;
        ConversionResult result = UTF8toW(p, length, &unit, 1, false);
        while (result == sourceExhausted && static_cast<size_t>(length) < left() && p[length])
            result = UTF8toW(p, ++length, &unit, 1, false);
        if (result == sourceExhausted && static_cast<size_t>(length) == left())
            break;
        const bool whole = result == conversionOK;
        text += whole ? unit : kReplacement;
        p += whole ? length : 1;
    }
    return text;
}

class Formatter
{
public:
    Formatter(LineMemory& memory, const wchar_t* pszFormat, va_list args) : m_p(pszFormat), m_text(memory.Resource())
    {
        m_text.reserve(kUsualUnits);
        va_copy(m_args, args);
    }
    ~Formatter() { va_end(m_args); }
    Formatter(const Formatter&) = delete;
    Formatter& operator=(const Formatter&) = delete;

    std::pmr::wstring Run()
    {
        while (*m_p) {
            const wchar_t* const pStart = m_p;
            if (*m_p++ != L'%')
                m_text += *pStart;
            else if (Directive directive; !Parse(directive) || !Print(directive))
                m_text.append(pStart, m_p);
        }
        return std::move(m_text);
    }

private:
    // Digits or "*". False for a number that an int can't hold.
    bool ParseNumber(int& number)
    {
        if (*m_p == L'*') {
            ++m_p;
            number = va_arg(m_args, int);
            return true;
        }
        for (number = 0; *m_p >= L'0' && *m_p <= L'9'; ++m_p) {
            const int digit = static_cast<int>(*m_p - L'0');
            if (number > (INT_MAX - digit) / 10)
                return false;
            number = number * 10 + digit;
        }
        return true;
    }

    Length ParseLength()
    {
        switch (*m_p) {
        case L'h':
            return *++m_p == L'h' ? ++m_p, Length::hh : Length::h;
        case L'l':
            return *++m_p == L'l' ? ++m_p, Length::ll : Length::l;
        case L'z':
            return ++m_p, Length::z;
        case L'j':
            return ++m_p, Length::j;
        case L't':
            return ++m_p, Length::t;
        case L'L':
            return ++m_p, Length::L;
        default:
            return Length::none;
        }
    }

    // Reads a directive behind its "%". False if it isn't one; m_p then stands behind what it read.
    bool Parse(Directive& directive)
    {
        for (; *m_p && std::wcschr(L"-+ #0'", *m_p); ++m_p)
            directive.flags += static_cast<char>(*m_p);
        if (!ParseNumber(directive.width))
            return false;
        if (directive.width < 0) { // by "*" only
            directive.flags += '-';
            directive.width = directive.width == INT_MIN ? INT_MAX : -directive.width;
        }
        if (*m_p == L'.') {
            ++m_p;
            if (!ParseNumber(directive.precision))
                return false;
            directive.precision = std::max(directive.precision, -1);
        }
        directive.length = ParseLength();
        if (!*m_p)
            return false;
        directive.conversion = *m_p++;
        return true;
    }

    // Takes the argument and prints it. False if the conversion or its length is unknown.
    bool Print(const Directive& directive)
    {
        const bool plain = directive.length == Length::none;
        switch (directive.conversion) {
        case L'%':
            return plain && (m_text += L'%', true);
        case L's':
            return plain ? PrintNarrow(directive) : directive.length == Length::l && PrintWide(directive);
        case L'c':
            return (plain || directive.length == Length::l) && PrintCharacter(directive);
        case L'd':
        case L'i':
            return directive.length != Length::L && PrintNumber(directive, "j", Signed(directive.length));
        case L'u':
        case L'x':
        case L'X':
        case L'o':
            return directive.length != Length::L && PrintNumber(directive, "j", Unsigned(directive.length));
        case L'f':
        case L'F':
        case L'e':
        case L'E':
        case L'g':
        case L'G':
        case L'a':
        case L'A':
            if (directive.length == Length::L)
                return PrintNumber(directive, "L", va_arg(m_args, long double));
            return (plain || directive.length == Length::l) && PrintNumber(directive, "", va_arg(m_args, double));
        case L'p':
            return plain && PrintNumber(directive, "", va_arg(m_args, void*));
        default:
            return false;
        }
    }

    intmax_t Signed(Length length)
    {
        switch (length) {
        case Length::hh:
            return static_cast<signed char>(va_arg(m_args, int));
        case Length::h:
            return static_cast<short>(va_arg(m_args, int));
        case Length::l:
            return va_arg(m_args, long);
        case Length::ll:
            return va_arg(m_args, long long);
        case Length::z:
            return va_arg(m_args, std::make_signed_t<size_t>);
        case Length::j:
            return va_arg(m_args, intmax_t);
        case Length::t:
            return va_arg(m_args, ptrdiff_t);
        default:
            return va_arg(m_args, int);
        }
    }

    uintmax_t Unsigned(Length length)
    {
        switch (length) {
        case Length::hh:
            return static_cast<unsigned char>(va_arg(m_args, unsigned));
        case Length::h:
            return static_cast<unsigned short>(va_arg(m_args, unsigned));
        case Length::l:
            return va_arg(m_args, unsigned long);
        case Length::ll:
            return va_arg(m_args, unsigned long long);
        case Length::z:
            return va_arg(m_args, size_t);
        case Length::j:
            return va_arg(m_args, uintmax_t);
        case Length::t:
            return va_arg(m_args, std::make_unsigned_t<ptrdiff_t>);
        default:
            return va_arg(m_args, unsigned);
        }
    }

    // Has snprintf print the number, with the directive rebuilt around the length modifier of Number.
    template <class Number> bool PrintNumber(const Directive& directive, const char* pszLength, Number number)
    {
        const std::string format = "%" + directive.flags + "*.*" + pszLength + static_cast<char>(directive.conversion);
        const auto print = [&](char* pBuffer, size_t size) {
            return std::snprintf(pBuffer, size, format.c_str(), directive.width, directive.precision, number);
        };
        const int length = print(nullptr, 0);
        if (length < 0)
            return false;
        std::string digits(static_cast<size_t>(length) + 1, '\0');
        print(digits.data(), digits.size());
        m_text.append(digits.begin(), digits.end() - 1);
        return true;
    }

    bool PrintNarrow(const Directive& directive)
    {
        const char* pszText = va_arg(m_args, const char*);
        return Pad(directive, Widen(pszText ? pszText : "(null)", MaxUnits(directive)));
    }

    bool PrintWide(const Directive& directive)
    {
        const wchar_t* pszText = va_arg(m_args, const wchar_t*);
        if (!pszText)
            pszText = L"(null)";
        size_t length = 0;
        while (length < MaxUnits(directive) && pszText[length])
            ++length;
        return Pad(directive, {pszText, length});
    }

    bool PrintCharacter(const Directive& directive)
    {
        wchar_t unit;
        if (directive.length == Length::l) {
            unit = static_cast<wchar_t>(va_arg(m_args, wint_t));
        } else {
            const auto byte = static_cast<unsigned char>(va_arg(m_args, int));
            unit = byte < 0x80 ? static_cast<wchar_t>(byte) : kReplacement;
        }
        return Pad(directive, std::wstring_view(&unit, unit ? 1 : 0));
    }

    bool Pad(const Directive& directive, std::wstring_view text)
    {
        const size_t width = static_cast<size_t>(directive.width);
        const size_t padding = width > text.size() ? width - text.size() : 0;
        const bool left = directive.flags.find('-') != std::string::npos;
        m_text.append(left ? 0 : padding, L' ').append(text).append(left ? padding : 0, L' ');
        return true;
    }

    static size_t MaxUnits(const Directive& directive)
    {
        return directive.precision < 0 ? std::numeric_limits<size_t>::max() : static_cast<size_t>(directive.precision);
    }

    const wchar_t* m_p; // the next character of the format
    va_list m_args;
    std::pmr::wstring m_text;
};

} // namespace

std::pmr::wstring FormatWide(LineMemory& memory, const wchar_t* pszFormat, va_list args)
{
    const CLocale cLocale;
    std::pmr::wstring text = Formatter(memory, pszFormat, args).Run();
    ReplaceNonUnicode(text);
    return text;
}

void ReplaceNonUnicode(std::pmr::wstring& text)
{
    const auto isNoCharacter = [](wchar_t unit) {
        const uint32_t code = static_cast<uint32_t>(unit); // NOLINT(bugprone-signed-char-misuse): it isn't a char
        return code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF);
    };
    std::replace_if(text.begin(), text.end(), isNoCharacter, kReplacement);
}
