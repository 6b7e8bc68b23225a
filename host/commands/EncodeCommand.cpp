#include "host/commands/EncodeCommand.h"

#include "host/base/ExitCode.h"
#include "host/base/Interrupt.h"
#include "host/base/Text.h"
#include "host/job/Job.h"
#include "host/job/JobWriter.h"

#include <algorithm>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace host
{

namespace
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

double InSeconds(Nanoseconds time)
{
    return static_cast<double>(time) / static_cast<double>(kSecond);
}

Sources OpenSources(const EncodeOptions& options, const Choice& choice, Messages& messages)
{
    Sources sources;
    const bool isSeparate = choice.audio && !options.audioInput.empty();
    sources.main = OpenSource(options.input, {choice.video != nullptr, choice.audio && !isSeparate}, messages);
    if (isSeparate) {
        sources.separateAudio = OpenSource(options.audioInput, {false, true}, messages);
        if (!sources.separateAudio->Audio())
            throw HostError(kExitInput, Format("%s holds no audio", options.audioInput.c_str()));
    }

    const Streams present = sources.main->Present();
    if (!choice.video && present.video && !options.noVideo)
        messages.Say(Format("%s holds audio alone; the input's video is left out", options.output.c_str()));
    if (!choice.audio && (present.audio || !options.audioInput.empty()) && !options.noAudio)
        messages.Say(Format("%s holds video alone; the audio is left out", options.output.c_str()));
    if (!sources.Video() && !sources.Audio()) {
        const bool isWantedThere = (choice.video && present.video) || (choice.audio && present.audio);
        const bool isLeftOut = !isWantedThere && (present.video || present.audio);
        throw HostError(isLeftOut ? kExitUsage : kExitInput,
                        Format(isLeftOut ? "nothing is left of %s to write" : "%s holds no usable video or audio",
                               ShownName(options.input).c_str()));
    }
    if (!sources.Video() && options.pictures)
        messages.Warn("without video, --frames has no effect");
    return sources;
}

void DescribePlan(const JobPlan& plan, const Sources& sources, Messages& messages)
{
    const auto fourCC = [](KXDWORD code) { return FourCCText(code); };
    if (plan.hasVideo) {
        const VideoFormat& in = *sources.Video()->Video();
        const EncodeParamVideo& out = plan.param.video;
        messages.Detail(Format("video: %dx%d, pixels %d:%d, %d/%d fps -> %dx%d, %d/%d fps, %s", in.width, in.height,
                               in.pixelAspect.num, in.pixelAspect.den, in.frameRate.num, in.frameRate.den, out.nWidth,
                               out.nHeight, plan.frameRate.num, plan.frameRate.den, fourCC(out.dwFourCC).c_str()));
    }
    if (plan.hasAudio) {
        const KXAudioInfo& in = plan.audioInfo;
        const EncodeParamAudio& out = plan.param.audio;
        messages.Detail(Format("audio: %d Hz, %d channels -> %d Hz, %d channels, %s", in.samplerate, in.channels,
                               out.nSampleRate, out.nChannels, fourCC(out.dwFourCC).c_str()));
    }
}

// The length to be expected of the job.
Nanoseconds ExpectedLength(const JobPlan& plan, const Sources& sources)
{
    Nanoseconds length = 0;
    for (const Source* source : {sources.Video(), sources.Audio()})
        length = std::max(length, source ? source->Duration() : 0);
    if (plan.pictures) {
        const Nanoseconds limit = av_rescale(*plan.pictures, kSecond * plan.frameRate.den, plan.frameRate.num);
        if (limit > 0 && (length == 0 || limit < length))
            length = limit;
    }
    return length;
}

// What the library has logged to an error. Lines that say nothing on it are left out.
void PrintCauses(const std::vector<std::string>& log, Messages& messages)
{
    constexpr const char* ordinary[] = {"PluginMgr::Create File",          "MediaFile::Create Fail",
                                        "Fail to create the file",         "Fill Blank Audio Data",
                                        "Throw away Audio Data",           "No video encoder for file format",
                                        "No audio encoder for file format"};
    for (const std::string& line : log)
        if (std::none_of(std::begin(ordinary), std::end(ordinary),
                         [&line](const char* start) { return line.starts_with(start); }))
            messages.Cause(line);
}

// What keeps the file from being a good one; empty if nothing does.
std::string FailureOf(const JobPlan& plan, const Job& job, const CloseReport& report, const OutputFile& output)
{
    if (job.IsRefused())
        return "the file takes no more";
    if (report.wasCalled && !report.isComplete)
        return "the file isn't complete";
    if (plan.hasVideo && job.HadPicture() && (job.GetCounts().pictures == 0 || (report.wasCalled && !report.pictures)))
        return "no picture was written";
    if (plan.hasAudio && job.HadAudio() && !job.WroteAudio())
        return "no audio was written";
    if (!report.wasCalled && output.IsPlainFile() && output.Size() == 0)
        return "the file is empty";
    return {};
}

void PrintSummary(const JobPlan& plan, const Job& job, const CloseReport& report, const OutputFile& output,
                  double seconds, Messages& messages)
{
    std::string line = output.Path() + ": ";
    const Counts& counts = job.GetCounts();
    if (plan.hasVideo) {
        const int64_t pictures = report.wasCalled ? report.pictures : counts.pictures;
        line += Format("%lld pictures, %.3f s", static_cast<long long>(pictures),
                       static_cast<double>(pictures) / av_q2d(plan.frameRate));
    }
    if (plan.hasAudio) {
        line += plan.hasVideo ? ", audio " : "audio ";
        line += report.wasCalled ? Format("%.3f s", static_cast<double>(report.audioMilliseconds) / 1000.0)
                                 : Format("%.3f s", InSeconds(job.Position()));
    }
    if (output.IsPlainFile())
        line += ", " + SizeText(output.Size());
    line += Format(", in %.1f s (%s)", seconds, SpeedText(job.Position(), seconds).c_str());
    if (plan.hasVideo)
        line += ", " + PacingText(counts);
    messages.Say(line);
}

// What the sources lacked. Returns whether one broke off.
bool PrintSourceFaults(const EncodeOptions& options, const Sources& sources, const Job& job, bool isWhole,
                       Messages& messages)
{
    bool isBroken = false;
    const auto check = [&](const Source* source, const std::string& name) {
        if (!source)
            return;
        if (source->Damaged())
            messages.Warn(Format("%s: %lld error%s; what couldn't be decoded is left out", name.c_str(),
                                 static_cast<long long>(source->Damaged()), source->Damaged() == 1 ? "" : "s"));
        if (!source->BrokenOff().empty()) {
            messages.Error(Format("%s breaks off: %s", name.c_str(), source->BrokenOff().c_str()));
            isBroken = true;
        }
    };
    const std::string input = ShownName(options.input);
    check(sources.main.get(), input);
    check(sources.separateAudio.get(), ShownName(options.audioInput));
    const Source& main = *sources.main;
    const Nanoseconds missing = main.Duration() - job.Position();
    if (isWhole && !isBroken && !sources.separateAudio && main.IsDurationStated() &&
        missing > std::max(kSecond, main.Duration() / 20))
        messages.Warn(Format("%s ends after %.1f s, and is said to be %.1f s long", input.c_str(),
                             InSeconds(job.Position()), InSeconds(main.Duration())));
    return isBroken;
}

// Takes a failed file away, or says what is left.
void CleanUp(OutputFile& output, Messages& messages)
{
    if (!output.RemoveIfNew() && output.IsPlainFile())
        messages.Error(Format("%s has been overwritten and is no good file", output.Path().c_str()));
}

// Runs the job and judges it. Returns the exit code; throws HostError if there is no good file.
int RunJob(const EncodeOptions& options, const Sources& sources, const JobPlan& plan, const OutputFile& output,
           Messages& messages)
{
    TimeMerge merge(sources.Video(), sources.Audio());
    JobWriter writer(plan, output, messages);
    Progress progress(messages, output, ExpectedLength(plan, sources), plan.hasVideo);
    Job job(plan, merge, writer, progress);
    job.Run();
    const CloseReport report = writer.Close();
    progress.End();

    const int signal = InterruptSignal();
    const bool isWhole = !signal && !plan.pictures && !job.IsRefused();
    const bool isBroken = PrintSourceFaults(options, sources, job, isWhole, messages);
    const std::string input = ShownName(options.input);
    if (!job.HadPicture() && !job.HadAudio())
        throw signal ? HostError(kExitSignal + signal, "interrupted; nothing was written")
                     : HostError(kExitInput, Format("nothing in %s could be decoded", input.c_str()));
    if (const std::string failure = FailureOf(plan, job, report, output); !failure.empty())
        throw HostError(kExitJob, Format("%s: %s", output.Path().c_str(), failure.c_str()));
    if (isWhole && plan.hasVideo && !job.HadPicture())
        throw HostError(kExitInput, Format("no picture in %s could be decoded (--vn leaves them out)", input.c_str()));
    if (isWhole && plan.hasAudio && !job.HadAudio() && sources.Audio()->Damaged())
        throw HostError(kExitInput, "none of the audio could be decoded (--an leaves it out)");

    PrintSummary(plan, job, report, output, progress.Seconds(), messages);
    if (signal)
        messages.Error("interrupted; the file is finished up to there");
    return signal ? kExitSignal + signal : isBroken ? kExitInput : kExitGood;
}

} // namespace

int RunEncode(const EncodeOptions& options, const Catalogue& catalogue, Messages& messages)
{
    const Choice choice = catalogue.Choose(options);
    OutputFile output(options.output);
    const Sources sources = OpenSources(options, choice, messages);
    output.CheckWritable({options.input, options.audioInput}, options.overwrite, options.input != "-");

    const JobPlan plan = MakePlan(options, choice, sources.Video() ? &*sources.Video()->Video() : nullptr,
                                  sources.Audio() ? &*sources.Audio()->Audio() : nullptr);
    DescribePlan(plan, sources, messages);
    if (InterruptSignal())
        throw HostError(kExitSignal + InterruptSignal(), "interrupted");

    const uint64_t mark = messages.Mark();
    try {
        return RunJob(options, sources, plan, output, messages);
    } catch (const std::exception& error) {
        const auto* const ending = dynamic_cast<const HostError*>(&error);
        const int exitCode = ending ? ending->Code() : static_cast<int>(kExitJob);
        messages.Error(error.what());
        if (const std::string cause = messages.TakeMediaError(); exitCode == kExitInput && !cause.empty())
            messages.Cause(cause);
        PrintCauses(messages.LinesSince(mark), messages);
        CleanUp(output, messages);
        return exitCode;
    }
}

} // namespace host
