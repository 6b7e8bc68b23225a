// Level 8: what plug-ins do to the frames that they get to see.
#include "host/base/Text.h"
#include "host/validate/Check.h"
#include "host/validate/StepNote.h"
#include "host/validate/TrialJob.h"

namespace host
{

namespace
{

using Guard = FrameMemory::Guard;

constexpr int kPictures = 8;

// Whole jobs whose frames lie in such memory. What goes wrong is a crash, and the check's end.
void RunIn(const Subject& subject, FrameMemory memory)
{
    const TrialCatalogue catalogue(subject);
    for (const TrialPair& pair : catalogue.Cover()) {
        TrialSetup setup = {pair, TrialPath(subject, pair)};
        setup.memory = memory;
        TrialJob job(setup);
        RunToEnd(job, kPictures);
        TakeOutputs(subject);
    }
}

void CheckBounds(const Subject& subject, Verdict&)
{
    RunIn(subject, {Guard::kBehind, false, false});
    RunIn(subject, {Guard::kBefore, false, false});
}

void CheckConst(const Subject& subject, Verdict&)
{
    RunIn(subject, {Guard::kNone, true, false});
}

void CheckKept(const Subject& subject, Verdict&)
{
    RunIn(subject, {Guard::kNone, false, true});
}

void CheckOddSizes(const Subject& subject, Verdict& verdict)
{
    constexpr std::pair<int, int> sizes[] = {{1, 1}, {1, 2}, {2, 1}, {3, 3}, {17, 31}, {161, 121}, {318, 2}};
    const TrialCatalogue catalogue(subject);
    for (const TrialPair& pair : catalogue.Cover())
        for (const auto& [width, height] : sizes) {
            if (!pair.video)
                continue;
            TrialSetup setup = {{pair.format, pair.video, 0}, TrialPath(subject, pair)};
            setup.shape.width = width;
            setup.shape.height = height;
            setup.memory.guard = Guard::kBehind;
            const std::string name = Format("%s, %dx%d", setup.pair.Text().c_str(), width, height);
            const StepNote note(name);
            TrialJob job(setup);
            RunToEnd(job, 3);
            TakeOutputs(subject);
            const bool isRefused = !job.Slots().empty() && job.Slots().front().hasFailed;
            if (isRefused || job.HasThrown())
                continue;
            if (!job.Refusal().empty())
                verdict.Fail(name + ": the revise slot takes the size, and then " + job.Refusal());
            else if (job.Report().calls && (job.Report().n1 != 0 || job.Report().n2 != job.Calls("pfnWriteVideo")))
                verdict.Fail(Format("%s: %u of %zu pictures are in the file", name.c_str(), job.Report().n2,
                                    job.Calls("pfnWriteVideo")));
        }
}

std::string OutputWith(const Subject& subject, const TrialPair& pair, int wider, unsigned char beyond)
{
    TrialSetup setup = {pair, TrialPath(subject, pair)};
    setup.shape.wider = wider;
    setup.shape.beyond = beyond;
    TrialJob job(setup);
    const bool isDone = job.Refusal().empty();
    RunToEnd(job, kPictures);
    const std::string bytes = TakeOutputs(subject);
    return isDone && !job.HasThrown() ? bytes : "";
}

void CheckPitch(const Subject& subject, Verdict& verdict)
{
    const TrialCatalogue catalogue(subject);
    for (const TrialPair& pair : catalogue.Cover()) {
        if (!pair.video)
            continue;
        const std::string tight = OutputWith(subject, pair, 0, 0);
        const bool isSame = tight == OutputWith(subject, pair, 32, 0) && tight == OutputWith(subject, pair, 100, 0xDB);
        // Formats may write chance or the time into their files.
        if (!isSame && tight == OutputWith(subject, pair, 0, 0))
            verdict.Fail(pair.Text() + ": pictures with a pitch wider than they are come out otherwise");
    }
}

constexpr Check kChecks[] = {
    {"frame-bounds", 8, Stage::kJobs, false, "Nothing is read before or behind a frame.", CheckBounds},
    {"frame-const", 8, Stage::kJobs, false, "Nothing is written into a frame.", CheckConst},
    {"frame-kept", 8, Stage::kJobs, false, "No frame is read after the call that it was handed to.", CheckKept},
    {"odd-sizes", 8, Stage::kJobs, false, "Pictures of 1 pixel and of odd sizes are refused or written.",
     CheckOddSizes},
    {"wide-pitch", 8, Stage::kJobs, false, "The pitch of a picture may be wider than the picture.", CheckPitch},
};

} // namespace

std::span<const Check> FrameChecks()
{
    return kChecks;
}

} // namespace host
