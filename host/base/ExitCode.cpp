#include "host/base/ExitCode.h"

#include <new>

namespace host
{

Exit ExitOf(const std::exception& error)
{
    if (const auto* const ending = dynamic_cast<const HostError*>(&error))
        return {ending->Code(), ending->what()};
    if (dynamic_cast<const std::bad_alloc*>(&error))
        return {kExitInternal, "there isn't enough memory"};
    return {kExitInternal, std::string("internal error: ") + error.what()};
}

} // namespace host
