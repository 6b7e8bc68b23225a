// Wide text and UTF-8 as strings of the standard library.
#ifndef ENCMGR_TEXT_STRINGS_H
#define ENCMGR_TEXT_STRINGS_H

#include <optional>
#include <string>
#include <string_view>

namespace text
{

// Nothing if the text holds a value that is no Unicode character, a surrogate among them: what names a file must not
// become another name.
std::optional<std::string> Utf8FromWide(std::wstring_view text);

// Nothing if the bytes aren't UTF-8 (Unicode, table 3-7).
std::optional<std::wstring> WideFromUtf8(std::string_view text);

// For people to read: a value that is no Unicode character becomes U+FFFD.
std::string ShownUtf8(std::wstring_view text);

} // namespace text

#endif // ENCMGR_TEXT_STRINGS_H
