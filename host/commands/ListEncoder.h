// "encmgr list CODEC": the options of one encoder.
#ifndef ENCMGR_HOST_LIST_ENCODER_H
#define ENCMGR_HOST_LIST_ENCODER_H

#include "host/commands/Commands.h"

#include <string>

namespace host
{

// Returns the exit code; throws HostError if there is no such encoder.
int RunListEncoder(const std::string& name, const CommonOptions& common, Messages& messages);

} // namespace host

#endif // ENCMGR_HOST_LIST_ENCODER_H
