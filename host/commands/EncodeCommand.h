// "encmgr encode": from options to a judged file.
#ifndef ENCMGR_HOST_ENCODE_COMMAND_H
#define ENCMGR_HOST_ENCODE_COMMAND_H

#include "host/base/Messages.h"
#include "host/job/Catalogue.h"

namespace host
{

// Returns the exit code; throws HostError where nothing has been written yet.
int RunEncode(const EncodeOptions& options, const Catalogue& catalogue, Messages& messages);

} // namespace host

#endif // ENCMGR_HOST_ENCODE_COMMAND_H
