// The options of "encmgr encode".
#ifndef ENCMGR_HOST_ENCODE_ARGUMENTS_H
#define ENCMGR_HOST_ENCODE_ARGUMENTS_H

#include "host/job/EncodeOptions.h"

namespace CLI
{
class App;
}

namespace host
{

// Parsing fills options, which outlive the command, and refuses values that make no sense.
void AddEncodeArguments(CLI::App& command, EncodeOptions& options);

// The same without what names the input and the output; the command has "--audio" already.
void AddJobArguments(CLI::App& command, EncodeOptions& options);

} // namespace host

#endif // ENCMGR_HOST_ENCODE_ARGUMENTS_H
