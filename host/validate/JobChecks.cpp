// Level 4: each format with each pair of its encoders makes a file, by calls in the order that PluginRecords.h gives.
#include "host/base/Text.h"
#include "host/validate/Check.h"
#include "host/validate/TrialJob.h"

#include <cstring>

namespace host
{

namespace
{

constexpr int kPictures = 6;

// Shapes that a plug-in may be asked for; one that it takes is enough.
constexpr FrameShape kShapes[] = {{160, 120, 0, 0, 44100, 2, 25.0}, {640, 480, 0, 0, 48000, 2, 30.0}};

void CheckJobs(const Subject& subject, Verdict& verdict)
{
    const TrialCatalogue catalogue(subject);
    if (catalogue.Pairs().empty())
        verdict.Skip("no format has an encoder");
    for (const TrialPair& pair : catalogue.Pairs()) {
        std::string refusal;
        for (const FrameShape& shape : kShapes) {
            TrialJob job({pair, TrialPath(subject, pair), shape});
            refusal = job.Refusal();
            RunToEnd(job, kPictures);
            const std::string bytes = TakeOutputs(subject);
            if (!refusal.empty())
                continue;
            if (pair.MakesFile() && bytes.empty() && !job.HasThrown())
                verdict.Fail(pair.Text() + ": there is no file, or an empty one");
            break;
        }
        if (!refusal.empty())
            verdict.Fail(pair.Text() + ": " + refusal);
    }
}

// Reads the calls of a job one after another.
class CallReader
{
public:
    CallReader(const SlotLog& log, const TrialPair& pair) : m_log(log), m_pair(pair) {}

    // Whether the next call is this one; then it is passed.
    bool Take(KXDWORD fourCC, const char* slot)
    {
        const bool isNext = m_at < m_log.size() && m_log[m_at].fourCC == fourCC && !std::strcmp(m_log[m_at].slot, slot);
        m_at += isNext;
        return isNext;
    }

    bool TakeFrame()
    {
        if (Take(m_pair.video, "pfnEncode"))
            return Take(m_pair.format, "pfnWriteVideo");
        if (Take(m_pair.audio, "pfnEncode"))
            return Take(m_pair.format, "pfnWriteAudio");
        return Take(m_pair.format, "pfnWriteVideo") || Take(m_pair.format, "pfnWriteAudio");
    }

    void TakeSetUp()
    {
        Take(m_pair.video, "pfnReviseVideo");
        Take(m_pair.video, "pfnCreate");
        Take(m_pair.audio, "pfnReviseAudio");
        Take(m_pair.audio, "pfnCreate");
        Take(m_pair.format, "pfnCreate");
    }

    void TakeClose()
    {
        if (Take(m_pair.audio, "pfnGetDelay"))
            TakeFrame();
        Take(m_pair.audio, "pfnGetAudioExtra");
        Take(m_pair.format, "pfnSetAudioExtra");
        Take(m_pair.video, "pfnGetVideoExtra");
        Take(m_pair.format, "pfnSetVideoExtra");
        Take(m_pair.format, "pfnClose");
        Take(m_pair.video, "pfnDestroy");
        Take(m_pair.audio, "pfnDestroy");
    }

    // The first call that wasn't to come there; null if none.
    const SlotCall* Rest() const { return m_at < m_log.size() ? &m_log[m_at] : nullptr; }

private:
    const SlotLog& m_log;
    const TrialPair& m_pair;
    size_t m_at = 0;
};

void CheckOrder(const Subject& subject, Verdict& verdict)
{
    const TrialCatalogue catalogue(subject);
    for (const TrialPair& pair : catalogue.Cover()) {
        TrialJob job({pair, TrialPath(subject, pair)});
        RunToEnd(job, kPictures);
        TakeOutputs(subject);
        if (!job.Refusal().empty() || job.HasThrown())
            continue;
        CallReader reader(job.Slots(), pair);
        reader.TakeSetUp();
        while (reader.TakeFrame()) {
        }
        reader.TakeClose();
        if (const SlotCall* const call = reader.Rest())
            verdict.Fail(Format("%s: %s of %s is called out of its order; does a slot call the library?",
                                pair.Text().c_str(), call->slot, FourCCText(call->fourCC).c_str()));
    }
}

constexpr Check kChecks[] = {
    {"jobs", 4, Stage::kRecords, true, "Each format makes a file with each pair of its encoders.", CheckJobs},
    {"slot-order", 4, Stage::kJobs, false, "The slots of a job are called in their order, and by the library alone.",
     CheckOrder},
};

} // namespace

std::span<const Check> JobChecks()
{
    return kChecks;
}

} // namespace host
