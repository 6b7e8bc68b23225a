// One check of one plug-in: in a process of its own, or in this one.
#ifndef ENCMGR_HOST_CHECK_RUNNER_H
#define ENCMGR_HOST_CHECK_RUNNER_H

#include "host/validate/Check.h"

#include <string>

namespace host
{

struct CheckResult {
    const Check* check;
    Outcome outcome;
    std::vector<std::string> texts;
};

// What holds for all checks of a run.
struct RunOptions {
    uint64_t seed;
    std::chrono::milliseconds time; // for one check
    bool inProcess;
    bool showsStreams; // the children's standard error stream is this program's own
};

// Runs the check. What it does to the process, a crash or an endless loop among it, comes back as Outcome::kCrashed
// unless options.inProcess. Throws HostError if there can't be a process or a folder for it, or on an interrupt.
CheckResult RunCheck(const Check& check, const std::string& file, const RunOptions& options, Messages& messages);

// The other side: runs the check with this id here, and leaves the result in the folder for RunCheck. Doesn't return.
[[noreturn]] void RunCheckAsChild(const std::string& id, const std::string& file, const std::string& folder,
                                  const RunOptions& options, Messages& messages);

} // namespace host

#endif // ENCMGR_HOST_CHECK_RUNNER_H
