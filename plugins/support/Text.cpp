#include "plugins/support/Text.h"

#include "text/Strings.h"

std::optional<std::string> Utf8Path(const wchar_t* text)
{
    return text && *text ? text::Utf8FromWide(text) : std::nullopt;
}
