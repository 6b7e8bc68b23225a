// JSON as programs read it: reports, lists, progress.
#ifndef ENCMGR_HOST_JSON_H
#define ENCMGR_HOST_JSON_H

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>

namespace host
{

// Members keep the order in which they were set.
using Json = nlohmann::ordered_json;

// On one line, or indented for people, where lists of plain values and short things stand on one line. Always UTF-8:
// names of files and texts of their tags may hold any bytes, and those that aren't UTF-8 become U+FFFD. Numbers that
// aren't finite become null.
std::string JsonLine(const Json& value);
std::string JsonText(const Json& value); // ends with a line end

// Throws HostError of kExitInput if the text isn't JSON, or nested beyond all reports; name is what messages call it.
Json ParseJson(std::string_view text, const std::string& name);

} // namespace host

#endif // ENCMGR_HOST_JSON_H
