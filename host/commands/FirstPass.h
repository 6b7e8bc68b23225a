// The first of two passes of "encmgr encode".
#ifndef ENCMGR_HOST_FIRST_PASS_H
#define ENCMGR_HOST_FIRST_PASS_H

#include "host/base/Messages.h"
#include "host/job/Catalogue.h"
#include "host/job/EncodeOptions.h"
#include "host/job/JobPlan.h"
#include "host/job/OutputFile.h"

namespace host
{

// Throws HostError if the options' sources can't be read twice.
void CheckReadableTwice(const EncodeOptions& options);

// Opens the sources once more and runs the plan, which is that of the first pass, to its end. Nothing is written to the
// output. Throws HostError.
void RunFirstPass(const EncodeOptions& options, const Choice& choice, JobPlan plan, const OutputFile& output,
                  Messages& messages);

} // namespace host

#endif // ENCMGR_HOST_FIRST_PASS_H
