// The sources of "encmgr record", and the loop that brings them to the job.
#ifndef ENCMGR_HOST_RECORDING_H
#define ENCMGR_HOST_RECORDING_H

#include "host/base/KeyReader.h"
#include "host/commands/EncodeSources.h"
#include "host/job/LiveJob.h"
#include "host/job/Progress.h"
#include "host/sources/LiveReader.h"

#include <memory>
#include <optional>

namespace host
{

// Shared with the threads that read them.
struct LiveInputs {
    std::shared_ptr<LiveInput> main;
    std::shared_ptr<LiveInput> sound; // null: the main one's

    LiveInput* Video() const { return main->Video() ? main.get() : nullptr; }
    LiveInput* Audio() const
    {
        LiveInput* const input = sound ? sound.get() : main.get();
        return input->Audio() ? input : nullptr;
    }
};

// Opens what the options name, as far as the format takes it, and says what is left out. Throws HostError if nothing is
// left.
LiveInputs OpenLiveInputs(const EncodeOptions& options, const Choice& choice, Messages& messages);

class Recording
{
public:
    // isTimed: the job has a length, to which it goes on if a device is gone. From here on the inputs are read.
    Recording(const EncodeOptions& options, const LiveInputs& inputs, bool isTimed, Messages& messages);

    // Until the job's length, the sources' end, a signal or "q". Throws HostError if nothing comes.
    void Run(LiveJob& job, const Tally& tally, Progress& progress);

    // The sources, for the verdict. Of one that a driver doesn't let go nothing bad is known.
    Sources Ended() const;

private:
    struct Input {
        std::string name;
        std::shared_ptr<LiveInput> input;
        std::unique_ptr<LiveReader> reader;
        std::unique_ptr<Source> ended;
        bool isSaid = false; // that it has ended
    };

    void Add(const std::string& name, const std::shared_ptr<LiveInput>& input);
    bool IsAtEnd(const LiveJob& job, const KeyReader& keys) const;
    void Step(LiveJob& job, Nanoseconds patience);
    void SayWhatIsWrong();
    void StopReaders();

    std::shared_ptr<LiveQueue> m_queue;
    std::vector<Input> m_inputs; // the second, if there is one, is for the sound
    bool m_isTimed;
    Messages& m_messages;
    Nanoseconds m_longestDelay = 0; // of the inputs
    bool m_isBehind = false;        // the encoder, and whether that is said
    bool m_isBehindSaid = false;
};

} // namespace host

#endif // ENCMGR_HOST_RECORDING_H
