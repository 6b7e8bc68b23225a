#include "host/base/Json.h"

#include "host/base/ExitCode.h"
#include "host/base/Text.h"

namespace host
{

std::string JsonLine(const Json& value)
{
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string JsonText(const Json& value)
{
    return value.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

Json ParseJson(std::string_view text, const std::string& name)
{
    try {
        return Json::parse(text);
    } catch (const Json::parse_error& error) {
        throw HostError(kExitInput, Format("%s isn't JSON: it breaks off or goes wrong at byte %zu", name.c_str(),
                                           static_cast<size_t>(error.byte)));
    }
}

} // namespace host
