// "encmgr encode": from options to a judged file.
#include "host/base/ExitCode.h"
#include "host/base/Interrupt.h"
#include "host/base/Text.h"
#include "host/commands/Commands.h"
#include "host/commands/EncodeArguments.h"
#include "host/commands/EncodeVerdict.h"
#include "host/commands/FirstPass.h"
#include "host/commands/OutputName.h"
#include "host/commands/QualityCheck.h"
#include "host/job/Plugins.h"
#include "host/job/TwoPasses.h"
#include "host/sources/TestCard.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace host
{

namespace
{

const char* const kFitHelp =
    R"(Fitting with -s: keep shows the whole picture in its own shape, 16:9 and 4:3 show it in that shape, all three with
bars; crop fills the output and cuts what stands out; stretch gives it the output's shape. Without -s the size is
the input's; a picture of pixels that aren't square gets the width that it is shown with.
)";

void DescribePlan(const JobPlan& plan, const Sources& sources, Messages& messages)
{
    if (plan.hasVideo) {
        const VideoFormat& in = *sources.Video()->Video();
        const EncodeParamVideo& out = plan.param.video;
        messages.Detail(Format("video: %dx%d, pixels %d:%d, %d/%d fps -> %dx%d, %d/%d fps, %s", in.width, in.height,
                               in.pixelAspect.num, in.pixelAspect.den, in.frameRate.num, in.frameRate.den, out.nWidth,
                               out.nHeight, plan.frameRate.num, plan.frameRate.den, FourCCText(out.dwFourCC).c_str()));
        if (plan.isDeinterlaced)
            messages.Detail("video: interlaced pictures are made whole");
    }
    if (plan.hasAudio) {
        const KXAudioInfo& in = plan.audioInfo;
        const EncodeParamAudio& out = plan.param.audio;
        messages.Detail(Format("audio: %d Hz, %d channels -> %d Hz, %d channels, %s", in.samplerate, in.channels,
                               out.nSampleRate, out.nChannels, FourCCText(out.dwFourCC).c_str()));
    }
}

// What the library and its plug-ins have logged to an error. Lines that are known to say nothing on it are left out:
// the log is for people, and nothing else hangs on its words.
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

// What the plan allows to be missing; the library has logged why behind the mark.
void LeaveOutLost(JobPlan& plan, const Streams& made, Messages& messages, uint64_t mark)
{
    const bool isVideoLost = plan.hasVideo && !made.video;
    if (!isVideoLost && (!plan.hasAudio || made.audio))
        return;
    const char* const lost = isVideoLost ? "video" : "audio";
    messages.Warn(Format("the %s encoder can't be set up; the file gets no %s", lost, lost));
    if (messages.GetVolume() != Volume::kQuiet)
        PrintCauses(messages.LinesSince(mark), messages);
    plan.hasVideo = made.video;
    plan.hasAudio = made.audio;
}

// Takes a failed file away, or says what is left.
void CleanUp(OutputFile& output, Messages& messages)
{
    if (!output.Discard() && output.IsPlainFile())
        messages.Error(Format("%s has been overwritten and is no good file", output.Path().c_str()));
}

// Returns the exit code; throws HostError if there is no good file.
int RunJob(const EncodeOptions& options, const Sources& sources, JobPlan& plan, OutputFile& output, Messages& messages)
{
    output.Create();
    const uint64_t mark = messages.Mark();
    JobWriter writer(plan, output);
    LeaveOutLost(plan, writer.Made(), messages, mark);
    TimeMerge merge(plan.hasVideo ? sources.Video() : nullptr, plan.hasAudio ? sources.Audio() : nullptr);
    for (const std::string& line : writer.Revisions())
        messages.Say(Format("%s: its %s", output.Path().c_str(), line.c_str()));
    Progress progress(messages, output, ExpectedLength(plan, sources), plan.hasVideo);
    Job job(plan, merge, writer, progress);
    job.Run();
    const CloseReport report = writer.Close();
    progress.End();
    return Judge({options, sources, plan, output, job, report, progress.Seconds()}, messages);
}

// The same in two passes.
int RunPasses(const EncodeOptions& options, const Choice& choice, const Sources& sources, const JobPlan& plan,
              OutputFile& output, Messages& messages)
{
    if (!plan.hasVideo)
        throw HostError(kExitUsage, Format("--passes: %s has no video", ShownName(options.input).c_str()));
    const TwoPasses passes;
    RunFirstPass(options, choice, passes.PlanOf(1, plan), output, messages);
    JobPlan second = passes.PlanOf(2, plan);
    return RunJob(options, sources, second, output, messages);
}

int RunEncode(const EncodeOptions& options, const Catalogue& catalogue, Messages& messages)
{
    const Choice choice = catalogue.Choose(options);
    CheckQuality(options, choice);
    if (options.passes > 1)
        CheckReadableTwice(options);
    OutputFile output(OutputNameOf(options, choice));
    const Sources sources = OpenSources(options, choice, messages);
    output.CheckWritable({options.input, options.audioInput}, options.overwrite,
                         options.input != "-" && !options.neverOverwrite);

    JobPlan plan = MakePlan(options, choice, sources.Video() ? &*sources.Video()->Video() : nullptr,
                            sources.Audio() ? &*sources.Audio()->Audio() : nullptr);
    DescribePlan(plan, sources, messages);
    if (plan.isDeinterlaced)
        sources.Video()->Deinterlace(options.deinterlace.has_value());
    if (InterruptSignal())
        throw HostError(kExitSignal + InterruptSignal(), "interrupted");

    const uint64_t mark = messages.Mark();
    try {
        return options.passes > 1 ? RunPasses(options, choice, sources, plan, output, messages)
                                  : RunJob(options, sources, plan, output, messages);
    } catch (const std::exception& error) {
        const auto [exitCode, text] = ExitOf(error);
        messages.Error(text);
        if (const std::string cause = messages.TakeMediaError(); exitCode == kExitInput && !cause.empty())
            messages.Cause(cause);
        PrintCauses(messages.LinesSince(mark), messages);
        CleanUp(output, messages);
        return exitCode;
    }
}

} // namespace

void AddEncodeCommand(CLI::App& program, Run& chosen)
{
    CLI::App* const command = program.add_subcommand("encode", "Write a file");
    command->footer(std::string(kFitHelp) + "\n" + kTestCardHelp + "\n" + kExitCodeHelp);
    const auto options = std::make_shared<EncodeOptions>();
    AddEncodeArguments(*command, *options);
    command->callback([options, &chosen] {
        chosen = [options](const CommonOptions& common, Messages& messages) {
            const Plugins plugins(common.pluginsFolder, messages);
            return RunEncode(*options, plugins.GetCatalogue(), messages);
        };
    });
}

} // namespace host
