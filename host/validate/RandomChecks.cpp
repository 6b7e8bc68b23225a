// Level 10: jobs by chance, the same for the same seed.
#include "host/base/Text.h"
#include "host/validate/Check.h"
#include "host/validate/StepNote.h"
#include "host/validate/TrialJob.h"

#include <random>

namespace host
{

namespace
{

constexpr int kMostSide = 200;
constexpr int kMostPictures = 25;
constexpr double kRates[] = {1.0, 12.5, 15.0, 24.0, 25.0, 30.0, 60.0};
constexpr int kSampleRates[] = {8000, 11025, 16000, 22050, 32000, 44100, 48000, 96000};
constexpr int kChannels[] = {1, 2, 6};

// One job of them, drawn from seed and number.
class RandomJob
{
public:
    RandomJob(const Subject& subject, const std::vector<TrialPair>& pairs, uint64_t number)
        : m_random(subject.seed * 1'000'003 + number)
    {
        m_setup.pair = pairs[static_cast<size_t>(Below(static_cast<int>(pairs.size())))];
        m_setup.path = TrialPath(subject, m_setup.pair);
        FrameShape& shape = m_setup.shape;
        shape = {1 + Below(kMostSide), 1 + Below(kMostSide), Below(2) * Below(70), 0xDB,
                 OneOf(kSampleRates),  OneOf(kChannels),     OneOf(kRates)};
        m_setup.memory = {static_cast<FrameMemory::Guard>(Below(3)), true, true};
        m_pictures = Below(kMostPictures);
        m_hasCallback = Below(4) != 0;
        m_text =
            Format("job %d of seed %llu (%s, %dx%d, %g fps, %d Hz, %d channels, %d pictures)", static_cast<int>(number),
                   static_cast<unsigned long long>(subject.seed), m_setup.pair.Text().c_str(), shape.width,
                   shape.height, shape.rate, shape.sampleRate, shape.channels, m_pictures);
    }

    void Run(Verdict& verdict)
    {
        const StepNote note(m_text);
        TrialJob job(m_setup);
        const bool isOpen = job.IsOpen();
        for (int i = 0; i < m_pictures && isOpen; ++i) {
            if (Below(10) != 0) // some are left out
                job.WriteBoth(i);
        }
        job.Close(m_hasCallback);
        if (job.HasThrown())
            verdict.Fail(m_text + ": an exception leaves a slot");
        const TrialReport& report = job.Report();
        const bool isVideo = m_setup.pair.video && !job.Param().bVideoDisabled;
        if (isOpen && isVideo && report.calls && report.n1 == 0 && report.n2 != job.Calls("pfnWriteVideo"))
            verdict.Fail(Format("%s: %u of %zu pictures are in the file", m_text.c_str(), report.n2,
                                job.Calls("pfnWriteVideo")));
    }

private:
    int Below(int end) { return static_cast<int>(m_random() % static_cast<unsigned>(end)); }
    template <class Value, size_t Count> Value OneOf(const Value (&values)[Count])
    {
        return values[static_cast<size_t>(Below(static_cast<int>(Count)))];
    }

    std::mt19937_64 m_random;
    TrialSetup m_setup;
    int m_pictures = 0;
    bool m_hasCallback = true;
    std::string m_text;
};

void CheckRandom(const Subject& subject, Verdict& verdict)
{
    // Enough is left for the last job to come to its end.
    const auto end = std::chrono::steady_clock::now() + subject.time / 4;
    const TrialCatalogue catalogue(subject);
    if (catalogue.Pairs().empty())
        return;
    for (uint64_t number = 0; std::chrono::steady_clock::now() < end && verdict.Worst() < Outcome::kFailed; ++number) {
        RandomJob(subject, catalogue.Pairs(), number).Run(verdict);
        TakeOutputs(subject);
    }
}

constexpr Check kChecks[] = {
    {"random-jobs", 10, Stage::kJobs, false, "Jobs by chance go well, for a quarter of the time limit.", CheckRandom},
};

} // namespace

std::span<const Check> RandomChecks()
{
    return kChecks;
}

} // namespace host
