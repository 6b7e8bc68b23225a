// The name of the output of "encmgr encode", by its format.
#ifndef ENCMGR_HOST_OUTPUT_NAME_H
#define ENCMGR_HOST_OUTPUT_NAME_H

#include "host/job/Catalogue.h"

namespace host
{

// What the options name. Where each picture is a file of its own, and more than one may come, the name gets a place for
// their number unless it has one. Throws HostError if the first of these files is there and mustn't be overwritten.
std::string OutputNameOf(const EncodeOptions& options, const Choice& choice);

} // namespace host

#endif // ENCMGR_HOST_OUTPUT_NAME_H
