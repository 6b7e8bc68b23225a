// Whether the encoder that was chosen has what the options of quality ask for.
#ifndef ENCMGR_HOST_QUALITY_CHECK_H
#define ENCMGR_HOST_QUALITY_CHECK_H

#include "host/job/Catalogue.h"

namespace host
{

// Throws HostError with what there is if it hasn't. Of an encoder whose plug-in states no options nothing can be told
// beforehand; it gets them, and refuses the job.
void CheckQuality(const EncodeOptions& options, const Choice& choice);

} // namespace host

#endif // ENCMGR_HOST_QUALITY_CHECK_H
