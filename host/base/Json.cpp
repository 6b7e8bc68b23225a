#include "host/base/Json.h"

#include "host/base/ExitCode.h"
#include "host/base/Text.h"

#include <algorithm>

namespace host
{

namespace
{

constexpr size_t kLongestObject = 100; // on a line of its own, in bytes

// Something that holds no other things.
bool IsPlain(const Json& value)
{
    return !value.is_structured() || value.empty();
}

// NOLINTNEXTLINE(misc-no-recursion): as deep as the value, which is the host's own
void Append(std::string& text, const Json& value, size_t depth)
{
    if (IsPlain(value) || std::all_of(value.begin(), value.end(), IsPlain)) {
        const std::string line = JsonLine(value);
        if (!value.is_object() || line.size() <= kLongestObject) {
            text += line;
            return;
        }
    }
    text += value.is_array() ? '[' : '{';
    const char* separator = "\n";
    for (const auto& [key, member] : value.items()) {
        text += separator;
        text.append(2 * (depth + 1), ' ');
        if (value.is_object())
            text.append(JsonLine(key)).append(": ");
        Append(text, member, depth + 1);
        separator = ",\n";
    }
    text += '\n';
    text.append(2 * depth, ' ');
    text += value.is_array() ? ']' : '}';
}

// Levels of lists and objects that are read. What writes them goes down by calling itself.
constexpr int kDeepest = 100;

} // namespace

std::string JsonLine(const Json& value)
{
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string JsonText(const Json& value)
{
    std::string text;
    Append(text, value, 0);
    return text + "\n";
}

Json ParseJson(std::string_view text, const std::string& name)
{
    const auto look = [&name](int depth, Json::parse_event_t, const Json&) {
        if (depth > kDeepest)
            throw HostError(kExitInput, Format("%s is nested too deeply", name.c_str()));
        return true;
    };
    try {
        return Json::parse(text, look);
    } catch (const Json::out_of_range&) {
        throw HostError(kExitInput, Format("%s holds a number that is too large", name.c_str()));
    } catch (const Json::parse_error& error) {
        throw HostError(kExitInput, Format("%s isn't JSON: it breaks off or goes wrong at byte %zu", name.c_str(),
                                           static_cast<size_t>(error.byte)));
    }
}

} // namespace host
