// Whether a job's work is done already, by the report that an earlier run has left.
#ifndef ENCMGR_HOST_DONE_JOB_H
#define ENCMGR_HOST_DONE_JOB_H

#include "host/base/Json.h"
#include "host/job/EncodeOptions.h"

#include <string>

namespace host
{

// All of the options that make a difference to the file, for comparison with those of another run.
Json OptionsJson(const EncodeOptions& options);

// Bytes and time of the last change of a plain file, in seconds since 1970 as a text with nine decimals; null for
// anything else.
Json FileStateJson(const std::string& name);

// True if the report is one of a job of this version that ended with a good file, from the same inputs by the same
// options, and inputs and output are those files still, by their sizes and the times of their last change.
bool IsDone(const EncodeOptions& options);

} // namespace host

#endif // ENCMGR_HOST_DONE_JOB_H
