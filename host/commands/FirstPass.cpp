#include "host/commands/FirstPass.h"

#include "host/base/ExitCode.h"
#include "host/base/Interrupt.h"
#include "host/base/Text.h"
#include "host/commands/EncodeSources.h"
#include "host/job/Job.h"
#include "host/job/JobWriter.h"

#include <sys/stat.h>

namespace host
{

namespace
{

// Once read, what came through a pipe is gone.
bool IsPipe(const std::string& input)
{
    struct stat status = {};
    return input == "-" || (stat(input.c_str(), &status) == 0 && !S_ISREG(status.st_mode));
}

// What has been said of the sources isn't said again.
Sources OpenQuietly(const EncodeOptions& options, const Choice& choice, Messages& messages)
{
    const Volume volume = messages.GetVolume();
    messages.SetVolume(Volume::kQuiet);
    try {
        Sources sources = OpenSources(options, choice, messages);
        messages.SetVolume(volume);
        return sources;
    } catch (...) {
        messages.SetVolume(volume);
        throw;
    }
}

} // namespace

void CheckReadableTwice(const EncodeOptions& options)
{
    for (const std::string& input : {options.input, options.audioInput})
        if (!input.empty() && IsPipe(input))
            throw HostError(kExitUsage,
                            Format("--passes: %s is no file, and can be read only once", ShownName(input).c_str()));
}

void RunFirstPass(const EncodeOptions& options, const Choice& choice, JobPlan plan, const OutputFile& output,
                  Messages& messages)
{
    const Sources sources = OpenQuietly(options, choice, messages);
    if (plan.isDeinterlaced)
        sources.Video()->Deinterlace(options.deinterlace.has_value());
    Tally tally(plan, output);
    JobWriter writer(plan, output, tally);
    plan.hasAudio = writer.Made().audio; // the second pass tells of what is lost
    TimeMerge merge(sources.Video(), plan.hasAudio ? sources.Audio() : nullptr);
    // Programs that follow the progress count one job.
    const ProgressKind kind = options.progress == ProgressKind::kJson ? ProgressKind::kNone : options.progress;
    Progress progress(messages, kind, output, ExpectedLength(plan, sources), plan.hasVideo, "pass 1 of 2:");
    Job job(plan, merge, writer, tally, progress);
    job.Run();
    const CloseReport report = writer.Close();
    tally.Close();
    progress.End(tally);
    if (const int signal = InterruptSignal())
        throw HostError(kExitSignal + signal, "interrupted in the first pass; nothing was written");
    if (!job.HadPicture())
        throw HostError(kExitInput, Format("no picture in %s could be decoded", ShownName(options.input).c_str()));
    if (job.IsRefused() || (report.wasCalled && !report.isComplete))
        throw HostError(kExitJob, "the first pass failed");
    messages.Say(Format("pass 1 of 2: %lld pictures, in %.1f s (%s)", static_cast<long long>(tally.Pictures().pictures),
                        progress.Seconds(), SpeedText(tally.Position(), progress.Seconds()).c_str()));
}

} // namespace host
