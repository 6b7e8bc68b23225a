// Texts of the plug-ins' records and paths.
#ifndef ENCMGR_PLUGINS_TEXT_H
#define ENCMGR_PLUGINS_TEXT_H

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

// A path as the file system takes it, in UTF-8. Nothing for null, for an empty text, and for text with a value that
// is no Unicode character: another file than the one named must not be written.
std::optional<std::string> Utf8Path(const wchar_t* text);

// Fills a text field of a record, cut to what fits with its terminator.
template <size_t Size> void SetText(wchar_t (&field)[Size], std::wstring_view text)
{
    const size_t length = std::min(text.size(), Size - 1);
    *std::copy_n(text.begin(), length, field) = 0;
}

#endif // ENCMGR_PLUGINS_TEXT_H
