// The command line.
#ifndef ENCMGR_HOST_OPTIONS_H
#define ENCMGR_HOST_OPTIONS_H

#include "host/base/Messages.h"
#include "host/commands/ConvertCommand.h"
#include "host/job/EncodeOptions.h"

#include <optional>
#include <string>

namespace host
{

enum class Command { kList, kEncode, kConvert };

struct Options {
    Command command = Command::kList;
    Volume volume = Volume::kNormal;
    std::string pluginsFolder; // the folder that holds PlugIns; empty: the program's own
    EncodeOptions encode;
    ConvertOptions convert;
};

// Gives an exit code where the program is to end here, help or an error having been printed. Throws HostError for a
// value that makes no sense.
std::optional<int> ParseOptions(int argc, char** argv, Options& options);

} // namespace host

#endif // ENCMGR_HOST_OPTIONS_H
