// Level 5: what a job leaves, and what it tells. The level that a plug-in should pass when it is given to others.
#include "host/base/Text.h"
#include "host/validate/Check.h"
#include "host/validate/TrialJob.h"

#include <algorithm>
#include <cstdlib>

namespace host
{

namespace
{

constexpr int kPictures = 30;
constexpr int kMillisecondsOff = 250; // by which sound may end earlier or later: some frames of any encoder
constexpr int kMostResult = 1 << 20;  // the library adds results up

// Calls see(job) with a whole job of each pair that can be set up and throws nothing.
template <class See> void ForEachJob(const Subject& subject, int pictures, See see)
{
    const TrialCatalogue catalogue(subject);
    for (const TrialPair& pair : catalogue.Cover()) {
        TrialJob job({pair, TrialPath(subject, pair)});
        RunToEnd(job, pictures);
        TakeOutputs(subject);
        if (job.Refusal().empty() && !job.HasThrown())
            see(job);
    }
}

void CheckReport(const TrialJob& job, Verdict& verdict)
{
    const std::string name = job.Setup().pair.Text();
    const TrialReport& report = job.Report();
    if (report.calls > 1)
        verdict.Fail(Format("%s: the callback is called %d times", name.c_str(), report.calls));
    if (report.n1 > 1)
        verdict.Fail(Format("%s: the callback's n1 is %u; 0 says complete, 1 says not", name.c_str(), report.n1));
    else if (report.n1 == 1)
        verdict.Fail(name + ": the format calls the file incomplete");
    const size_t written = job.Calls("pfnWriteVideo");
    if (job.Setup().pair.video && report.n2 != written)
        verdict.Fail(Format("%s: %u of %zu pictures are in the file", name.c_str(), report.n2, written));
    const auto given = static_cast<int>(kPictures * 1000 / job.Setup().shape.rate);
    if (job.Setup().pair.audio && std::abs(static_cast<int>(report.n3) - given) > kMillisecondsOff)
        verdict.Fail(Format("%s: %u ms of %d ms of sound are in the file", name.c_str(), report.n3, given));
}

void CheckFramesOut(const Subject& subject, Verdict& verdict)
{
    ForEachJob(subject, kPictures, [&verdict](const TrialJob& job) {
        if (job.Report().calls == 0)
            verdict.Skip(job.Setup().pair.Text() + ": the format doesn't call back, so nobody can tell");
        else
            CheckReport(job, verdict);
    });
}

// A plug-in that doesn't look crashes, and the check with it.
void CheckNullCallback(const Subject& subject, Verdict& verdict)
{
    const TrialCatalogue catalogue(subject);
    for (const TrialPair& pair : catalogue.Cover()) {
        TrialJob job({pair, TrialPath(subject, pair)});
        RunToEnd(job, 3, false);
        if (TakeOutputs(subject).empty() && job.Refusal().empty() && pair.MakesFile())
            verdict.Fail(pair.Text() + ": without a callback there is no file");
    }
}

void CheckEmptyJobs(const Subject& subject, Verdict& verdict)
{
    const TrialCatalogue catalogue(subject);
    for (const TrialPair& pair : catalogue.Cover()) {
        {
            TrialJob job({pair, TrialPath(subject, pair)});
            job.Close();
            if (job.Report().n2 > 0)
                verdict.Fail(Format("%s: of no picture, %u are in the file", pair.Text().c_str(), job.Report().n2));
        }
        // One stream alone of both.
        for (const bool isVideo : {true, false}) {
            if (!pair.video || !pair.audio)
                continue;
            TrialJob job({pair, TrialPath(subject, pair)});
            for (int i = 0; i < 3 && job.IsOpen(); ++i)
                isVideo ? job.WritePicture(i) : job.WriteBlock(i);
            job.Close();
        }
        TakeOutputs(subject);
    }
}

void CheckResults(const Subject& subject, Verdict& verdict)
{
    ForEachJob(subject, kPictures, [&verdict](const TrialJob& job) {
        const std::string name = job.Setup().pair.Text();
        const auto [least, most] = std::minmax_element(job.Results().begin(), job.Results().end());
        if (*least < 0)
            verdict.Fail(Format("%s: a write slot returns %d", name.c_str(), *least));
        else if (*least == 0 && job.Report().calls && job.Report().n1 == 0)
            verdict.Fail(name + ": a write slot returns 0, as if nothing was taken, and the file is called complete");
        if (*most > kMostResult)
            verdict.Fail(Format("%s: a write slot returns %d; results are added up, and that leads beyond an int",
                                name.c_str(), *most));
    });
}

// Failed slots of a job that didn't say a word.
void WarnOfSilence(const TrialJob& job, Verdict& verdict)
{
    for (const SlotCall& call : job.Slots())
        if (call.hasFailed && !call.hasThrown && !call.isTold && std::string(call.slot) != "pfnGetDelay")
            verdict.Warn(
                Format("%s of %s fails without a word in the log", call.slot, FourCCText(call.fourCC).c_str()));
}

void CheckFailuresTold(const Subject& subject, Verdict& verdict)
{
    const TrialCatalogue catalogue(subject);
    for (const TrialPair& pair : catalogue.Cover()) {
        TrialJob nowhere({pair, subject.folder + "/no folder/x.out"});
        WarnOfSilence(nowhere, verdict);
        // What nobody can encode.
        TrialSetup setup = {pair, TrialPath(subject, pair)};
        setup.shape.width = setup.shape.height = 0;
        setup.shape.sampleRate = 1;
        setup.shape.channels = 200;
        TrialJob absurd(setup);
        WarnOfSilence(absurd, verdict);
        absurd.Close();
        TakeOutputs(subject);
    }
}

constexpr Check kChecks[] = {
    {"frames-out", 5, Stage::kJobs, false, "After the close, as many frames are in the file as were given.",
     CheckFramesOut},
    {"null-callback", 5, Stage::kJobs, false, "A job can be closed without a callback.", CheckNullCallback},
    {"empty-jobs", 5, Stage::kJobs, false, "A job can be closed without a frame, or without one of a stream.",
     CheckEmptyJobs},
    {"write-results", 5, Stage::kJobs, false, "Write slots return more than 0 for what they take, and little.",
     CheckResults},
    {"failures-told", 5, Stage::kJobs, false, "Slots that fail say why, in the log or on the error stream.",
     CheckFailuresTold},
};

} // namespace

std::span<const Check> CloseChecks()
{
    return kChecks;
}

} // namespace host
