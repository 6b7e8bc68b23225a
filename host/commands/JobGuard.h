// What is left of a job that fails: words, and no bad file.
#ifndef ENCMGR_HOST_JOB_GUARD_H
#define ENCMGR_HOST_JOB_GUARD_H

#include "host/base/Messages.h"
#include "host/job/JobPlan.h"
#include "host/job/JobWriter.h"
#include "host/job/OutputFile.h"
#include "host/job/Progress.h"
#include "host/job/Report.h"
#include "host/job/Tally.h"

#include <functional>

namespace host
{

// Takes out of the plan what it allows to be missing and wasn't made, and says so with what the log has behind the
// mark.
void LeaveOutLost(JobPlan& plan, const Streams& made, Messages& messages, uint64_t mark);

// Runs a job and closes its file; what became of it is in the report, also where that throws.
CloseReport RunToClose(const std::function<void()>& run, JobWriter& writer, Tally& tally, Progress& progress,
                       Report& report, const JobPlan& plan, const OutputFile& output);

// Returns the exit code of what it runs. Where that throws, it says why, with all that the log has on it, takes the
// output away if it is new, and returns the error's exit code.
int GuardJob(OutputFile& output, Report& report, Messages& messages, const std::function<int()>& run);

} // namespace host

#endif // ENCMGR_HOST_JOB_GUARD_H
