// Titles, languages, chapters and the cover of the input, on their way to the file format.
#ifndef ENCMGR_HOST_METADATA_OPTIONS_H
#define ENCMGR_HOST_METADATA_OPTIONS_H

#include "host/job/JobPlan.h"

namespace host
{

// Whether the loaded format with this FourCC takes them.
bool TakesMetadata(KXDWORD format);

// Puts them into the plan's options: what main says of the whole and of its video, and what audio says of its own.
// Chapters are those of the part that the plan takes.
void AddMetadata(JobPlan& plan, const Metadata& main, const Metadata& audio);

} // namespace host

#endif // ENCMGR_HOST_METADATA_OPTIONS_H
