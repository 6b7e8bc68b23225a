// What became of a job of "encmgr encode".
#ifndef ENCMGR_HOST_ENCODE_VERDICT_H
#define ENCMGR_HOST_ENCODE_VERDICT_H

#include "host/commands/EncodeSources.h"
#include "host/job/JobResult.h"
#include "host/job/JobWriter.h"

namespace host
{

// A job that has ended, with all that tells how.
struct EndedJob {
    const EncodeOptions& options;
    const Sources& sources;
    const JobPlan& plan;
    OutputFile& output; // closed, and published if it is good
    const JobResult& job;
    CloseReport report;
    double seconds;      // that it took
    bool isLive = false; // then a signal is a good end
};

// Says what the sources lacked, gives a good file its name, and says what was written. Returns the exit code; throws
// HostError if there is no good file.
int Judge(const EndedJob& ended, Messages& messages);

} // namespace host

#endif // ENCMGR_HOST_ENCODE_VERDICT_H
