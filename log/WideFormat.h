// Wide formatted text that depends on no locale.
#ifndef ENCMGR_LOG_WIDE_FORMAT_H
#define ENCMGR_LOG_WIDE_FORMAT_H

#include <cstdarg>
#include <cstddef>
#include <memory_resource>
#include <string>

// Memory for the texts of one line, on the stack: those of usual length take nothing from the heap.
class LineMemory
{
public:
    LineMemory() = default;
    LineMemory(const LineMemory&) = delete;
    LineMemory& operator=(const LineMemory&) = delete;

    std::pmr::memory_resource* Resource() { return &m_resource; }

private:
    alignas(std::max_align_t) std::byte m_bytes[8192];
    std::pmr::monotonic_buffer_resource m_resource{m_bytes, sizeof(m_bytes)};
};

// Formats as the standard wide print functions do, of any length. The process's locale plays no part:
//
//   %ls %lc      wide text; a precision bounds the characters read
//   %s           UTF-8; a precision bounds the bytes read, and a character that it cuts is left out
//   %c           ASCII
//   %d %i %u %x %X %o with hh h l ll z j t, %f %e %g %a and their capitals with l or L, %p, %%
//
// Flags and width are the usual ones; width and precision may be "*". Null text prints as "(null)". A byte
// that is not UTF-8 and a unit that is no Unicode character print as U+FFFD each; a zero character prints as
// nothing, as it would end the text for its reader. Any other directive is printed as it stands and takes no
// argument.
std::pmr::wstring FormatWide(LineMemory& memory, const wchar_t* pszFormat, va_list args);

// Puts U+FFFD in place of every unit that is no Unicode character.
void ReplaceNonUnicode(std::pmr::wstring& text);

#endif // ENCMGR_LOG_WIDE_FORMAT_H
