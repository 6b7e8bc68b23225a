#include "host/commands/EncodeVerdict.h"

#include "host/base/ExitCode.h"
#include "host/base/Interrupt.h"
#include "host/base/Text.h"
#include "host/base/WriteError.h"
#include "host/job/Progress.h"

#include <algorithm>

namespace host
{

namespace
{

// What keeps the file from being a good one; empty if nothing does. Throws HostError for what isn't the job's fault.
std::string FailureOf(const EndedJob& ended)
{
    const auto& [options, sources, plan, output, job, report, seconds, isLive] = ended;
    if (report.writeError)
        throw HostError(kExitWrite,
                        Format("can't write %s: %s", output.Path().c_str(), WriteErrorText(report.writeError).c_str()));
    if (job.IsRefused())
        return "the file takes no more";
    if (report.wasCalled && !report.isComplete)
        return "the file isn't complete";
    if (plan.hasVideo && job.HadPicture() && (job.GetCounts().pictures == 0 || (report.wasCalled && !report.pictures)))
        return "no picture was written";
    if (plan.hasAudio && job.HadAudio() && !job.WroteAudio())
        return "no audio was written";
    return {};
}

// A file with fewer pictures than were expected is no good one, whoever is to blame.
void CheckCount(const EndedJob& ended, bool isBroken, int signal)
{
    if (!ended.options.expectedPictures)
        return;
    const int64_t pictures = ended.report.wasCalled ? ended.report.pictures : ended.job.GetCounts().pictures;
    if (pictures < *ended.options.expectedPictures)
        throw HostError(signal     ? kExitSignal + signal
                        : isBroken ? kExitInput
                                   : kExitFewer,
                        Format("%s: %lld pictures, and %lld are expected", ended.output.Path().c_str(),
                               static_cast<long long>(pictures),
                               static_cast<long long>(*ended.options.expectedPictures)));
}

void PrintSummary(const EndedJob& ended, Messages& messages)
{
    const Counts& counts = ended.job.GetCounts();
    const CloseReport& report = ended.report;
    std::string line = ended.output.Path() + ": ";
    if (ended.plan.hasVideo) {
        const int64_t pictures = report.wasCalled ? report.pictures : counts.pictures;
        line += Format("%lld pictures, %.3f s", static_cast<long long>(pictures),
                       static_cast<double>(pictures) / av_q2d(ended.plan.frameRate));
    }
    if (ended.plan.hasAudio) {
        line += ended.plan.hasVideo ? ", audio " : "audio ";
        line += Format("%.3f s", report.wasCalled ? static_cast<double>(report.audioMilliseconds) / 1000.0
                                                  : InSeconds(ended.job.Position()));
    }
    if (ended.output.IsPlainFile())
        line += ", " + SizeText(ended.output.Size());
    line += Format(", in %.1f s (%s)", ended.seconds, SpeedText(ended.job.Position(), ended.seconds).c_str());
    if (ended.plan.hasVideo)
        line += ", " + PacingText(counts);
    messages.Say(line);
}

// What a source lacked. Returns whether it broke off.
bool PrintFaults(const Source& source, const std::string& name, Messages& messages)
{
    if (source.Damaged())
        messages.Warn(Format("%s: %lld error%s; what couldn't be decoded is left out", name.c_str(),
                             static_cast<long long>(source.Damaged()), source.Damaged() == 1 ? "" : "s"));
    if (!source.BrokenOff().empty())
        messages.Error(Format("%s breaks off: %s", name.c_str(), source.BrokenOff().c_str()));
    return !source.BrokenOff().empty();
}

void WarnIfShort(const EndedJob& ended, Messages& messages)
{
    const Source& main = *ended.sources.main;
    const Nanoseconds reached = ended.plan.start + ended.job.Position();
    const Nanoseconds missing = main.Duration() - reached;
    if (!ended.sources.separateAudio && main.IsDurationStated() && missing > std::max(kSecond, main.Duration() / 20))
        messages.Warn(Format("%s ends after %.1f s, and is said to be %.1f s long",
                             ShownName(ended.options.input).c_str(), InSeconds(reached), InSeconds(main.Duration())));
}

} // namespace

int Judge(const EndedJob& ended, Messages& messages)
{
    const auto& [options, sources, plan, output, job, report, seconds, isLive] = ended;
    const std::string input = ShownName(options.input);
    const int signal = InterruptSignal();
    const bool isWhole =
        !isLive && !signal && !plan.pictures && !plan.end && !job.IsRefused() && job.BrokenLimit().empty();
    bool isBroken = PrintFaults(*sources.main, input, messages);
    if (sources.separateAudio)
        isBroken |= PrintFaults(*sources.separateAudio, ShownName(options.audioInput), messages);
    if (isWhole && !isBroken)
        WarnIfShort(ended, messages);

    if (!job.BrokenLimit().empty())
        throw HostError(kExitPacing, input + ": " + job.BrokenLimit());
    if (!job.HadPicture() && !job.HadAudio() && !signal && plan.start > 0)
        throw HostError(kExitInput,
                        Format("%s ends before --start, %s", input.c_str(), ClockText(InSeconds(plan.start)).c_str()));
    if (!job.HadPicture() && !job.HadAudio())
        throw signal ? HostError(kExitSignal + signal, "interrupted; nothing was written")
                     : HostError(kExitInput, Format("nothing in %s could be decoded", input.c_str()));
    if (const std::string failure = FailureOf(ended); !failure.empty())
        throw HostError(kExitJob, Format("%s: %s", output.Path().c_str(), failure.c_str()));
    if (isWhole && plan.hasVideo && !job.HadPicture())
        throw HostError(kExitInput, Format("no picture in %s could be decoded (--vn leaves them out)", input.c_str()));
    if (isWhole && plan.hasAudio && !job.HadAudio() && sources.Audio()->Damaged())
        throw HostError(kExitInput, "none of the audio could be decoded (--an leaves it out)");

    CheckCount(ended, isBroken, signal);
    output.Publish();
    PrintSummary(ended, messages);
    if (isLive)
        return isBroken ? kExitInput : kExitGood;
    if (signal)
        messages.Error("interrupted; the file is finished up to there");
    return signal ? kExitSignal + signal : isBroken ? kExitInput : kExitGood;
}

} // namespace host
