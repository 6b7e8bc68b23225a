// The sources of "encmgr encode".
#ifndef ENCMGR_HOST_ENCODE_SOURCES_H
#define ENCMGR_HOST_ENCODE_SOURCES_H

#include "host/base/Messages.h"
#include "host/job/JobPlan.h"

#include <memory>

namespace host
{

// The sources of a job; one may be both.
struct Sources {
    std::unique_ptr<Source> main;
    std::unique_ptr<Source> separateAudio;

    Source* Video() const { return main->Video() ? main.get() : nullptr; }
    Source* Audio() const
    {
        Source* const source = separateAudio ? separateAudio.get() : main.get();
        return source->Audio() ? source : nullptr;
    }
};

// Opens what the options name, as far as the format takes it, and says what is left out. Throws HostError if nothing is
// left.
Sources OpenSources(const EncodeOptions& options, const Choice& choice, Messages& messages);

// The length to be expected of the job; 0 if it isn't known.
Nanoseconds ExpectedLength(const JobPlan& plan, const Sources& sources);

} // namespace host

#endif // ENCMGR_HOST_ENCODE_SOURCES_H
