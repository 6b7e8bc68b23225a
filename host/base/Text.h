// Text for people.
#ifndef ENCMGR_HOST_TEXT_H
#define ENCMGR_HOST_TEXT_H

#include "encmgr/PluginRecords.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace host
{

// As people write it: without trailing spaces; a byte that can't be printed becomes '?'.
std::string FourCCText(KXDWORD fourCC);

// Lower-case letters and digits alone, so that "H.264" and "h264" compare equal. Bytes beyond ASCII stay.
std::string Folded(std::string_view text);

std::string Lower(std::string_view text);

// As printf writes it.
[[gnu::format(printf, 1, 2)]] std::string Format(const char* format, ...);

// "950 B", "1.2 MB": decimal units, as file managers show them.
std::string SizeText(uint64_t bytes);

// "0:07", "12:34", "1:02:03".
std::string ClockText(double seconds);

} // namespace host

#endif // ENCMGR_HOST_TEXT_H
