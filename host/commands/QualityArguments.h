// The options of "encmgr encode" that settle how well it encodes, for its encoders and the format.
#ifndef ENCMGR_HOST_QUALITY_ARGUMENTS_H
#define ENCMGR_HOST_QUALITY_ARGUMENTS_H

#include "host/job/EncodeOptions.h"

namespace CLI
{
class App;
}

namespace host
{

// To a command that has the options of AddEncodeArguments.
void AddQualityArguments(CLI::App& command, EncodeOptions& options);

} // namespace host

#endif // ENCMGR_HOST_QUALITY_ARGUMENTS_H
