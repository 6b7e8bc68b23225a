// The options of "encmgr convert".
#ifndef ENCMGR_HOST_CONVERT_ARGUMENTS_H
#define ENCMGR_HOST_CONVERT_ARGUMENTS_H

#include "host/job/ConvertOptions.h"

namespace CLI
{
class App;
}

namespace host
{

// Parsing fills options, which outlive the command, and refuses values that make no sense.
void AddConvertArguments(CLI::App& command, ConvertOptions& options);

} // namespace host

#endif // ENCMGR_HOST_CONVERT_ARGUMENTS_H
