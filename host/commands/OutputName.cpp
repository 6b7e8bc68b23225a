#include "host/commands/OutputName.h"

#include "host/base/ExitCode.h"
#include "host/base/Text.h"
#include "host/job/OutputNames.h"
#include "host/job/Plugins.h"

#include <filesystem>

namespace host
{

std::string OutputNameOf(const EncodeOptions& options, const Choice& choice)
{
    if (!Plugins::IsSequence(choice.format->dwFourCC) || options.output == "-")
        return options.output;
    const bool isSingle = options.pictures == 1;
    const bool hasNumber = IsSequence(options.output);
    if (isSingle && !hasNumber)
        return options.output;
    std::string name = hasNumber ? options.output : SequenceOf(options.output);
    std::error_code unknown;
    if (const std::string first = FirstOf(name); !options.overwrite && std::filesystem::exists(first, unknown))
        throw HostError(kExitOutput, Format("can't write %s: it exists (-y overwrites it)", first.c_str()));
    return name;
}

} // namespace host
