#include "Text.h"

#include <cstdint>

std::optional<std::string> Utf8Path(const wchar_t* text)
{
    if (!text || !*text)
        return std::nullopt;
    std::string path;
    const auto put = [&path](uint32_t byte) { path.push_back(static_cast<char>(byte)); };
    for (; *text; ++text) {
        const uint32_t code = static_cast<uint32_t>(*text);
        if (code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
            return std::nullopt;
        if (code < 0x80) {
            put(code);
            continue;
        }
        const int trailing = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
        put((0xF00u >> (trailing + 1) & 0xFF) | code >> 6 * trailing);
        for (int i = trailing - 1; i >= 0; --i)
            put(0x80 | (code >> 6 * i & 0x3F));
    }
    return path;
}
