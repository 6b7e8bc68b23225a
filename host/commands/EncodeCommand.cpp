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
#include "host/job/DryRun.h"
#include "host/job/MetadataOptions.h"
#include "host/job/Plugins.h"
#include "host/job/Report.h"
#include "host/job/Revisions.h"
#include "host/job/TwoPasses.h"
#include "host/sources/TestCard.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>

namespace host
{

namespace
{

const char* const kFitHelp =
    R"(Fitting with -s: keep shows the whole picture in its own shape, 16:9 and 4:3 show it in that shape, all three with
bars; crop fills the output and cuts what stands out; stretch gives it the output's shape. Without -s the size is
the input's; a picture of pixels that aren't square gets the width that it is shown with.
)";

// What comes in and what is to come out.
std::vector<std::string> PlanLines(const JobPlan& plan, const Sources& sources)
{
    std::vector<std::string> lines;
    if (plan.hasVideo) {
        const VideoFormat& in = *sources.Video()->Video();
        const EncodeParamVideo& out = plan.param.video;
        lines.push_back(Format("video: %dx%d, pixels %d:%d, %d/%d fps -> %dx%d, %d/%d fps, %s", in.width, in.height,
                               in.pixelAspect.num, in.pixelAspect.den, in.frameRate.num, in.frameRate.den, out.nWidth,
                               out.nHeight, plan.frameRate.num, plan.frameRate.den, FourCCText(out.dwFourCC).c_str()));
        if (plan.isDeinterlaced)
            lines.emplace_back("video: interlaced pictures are made whole");
    }
    if (plan.hasAudio) {
        const KXAudioInfo& in = plan.audioInfo;
        const EncodeParamAudio& out = plan.param.audio;
        lines.push_back(Format("audio: %d Hz, %d channels -> %d Hz, %d channels, %s", in.samplerate, in.channels,
                               out.nSampleRate, out.nChannels, FourCCText(out.dwFourCC).c_str()));
    }
    return lines;
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

// What a job is made of.
struct Task {
    const EncodeOptions& options;
    const Choice& choice;
    const Sources& sources;
    JobPlan& plan;
    OutputFile& output;
    Report& report;
    Messages& messages;
};

// The plan goes to the standard output, unless a report does.
int PrintDryRun(const Task& task)
{
    std::vector<std::string> lines = PlanLines(task.plan, task.sources);
    for (std::string& line : RunDry(task.choice, task.plan, task.options.output, task.report))
        lines.push_back(std::move(line));
    lines.push_back(Format("%s: not written, this is a dry run", task.output.Path().c_str()));
    for (const std::string& line : lines) {
        if (task.options.report == "-")
            task.messages.Say(line);
        else
            std::printf("%s\n", line.c_str());
    }
    return kExitGood;
}

// Returns the exit code; throws HostError if there is no good file.
int RunJob(const Task& task)
{
    const auto& [options, choice, sources, plan, output, report, messages] = task;
    output.Create();
    const uint64_t mark = messages.Mark();
    Tally tally(plan, output);
    JobWriter writer(plan, output, tally);
    LeaveOutLost(plan, writer.Made(), messages, mark);
    TimeMerge merge(plan.hasVideo ? sources.Video() : nullptr, plan.hasAudio ? sources.Audio() : nullptr);
    report.SetPlan(PlanJson({choice, plan, writer.Settled()}));
    for (const Revision& revision : FindRevisions(plan, writer.Settled().m_EncParam))
        messages.Say(Format("%s: its %s", output.Path().c_str(), revision.Text().c_str()));
    Progress progress(messages, options.progress, output, ExpectedLength(plan, sources), plan.hasVideo);
    Job job(plan, merge, writer, tally, progress);
    CloseReport closing;
    try {
        job.Run();
        closing = writer.Close();
        tally.Close();
        progress.End(tally);
    } catch (...) {
        report.SetResult(tally, plan, output);
        throw;
    }
    report.SetInput(*sources.main, sources.separateAudio.get()); // with its faults
    report.SetResult(tally, plan, output);
    return Judge({options, sources, plan, output, job, closing, progress.Seconds()}, messages);
}

// The same in two passes.
int RunPasses(const Task& task)
{
    const auto& [options, choice, sources, plan, output, report, messages] = task;
    if (!plan.hasVideo)
        throw HostError(kExitUsage, Format("--passes: %s has no video", ShownName(options.input).c_str()));
    const TwoPasses passes;
    RunFirstPass(options, choice, passes.PlanOf(1, plan), output, messages);
    JobPlan second = passes.PlanOf(2, plan);
    return RunJob({options, choice, sources, second, output, report, messages});
}

int RunEncode(const EncodeOptions& options, const Catalogue& catalogue, Report& report, Messages& messages)
{
    const Choice choice = catalogue.Choose(options);
    CheckQuality(options, choice);
    if (options.passes > 1)
        CheckReadableTwice(options);
    OutputFile output(OutputNameOf(options, choice));
    const Sources sources = OpenSources(options, choice, messages);
    report.SetInput(*sources.main, sources.separateAudio.get());
    output.CheckWritable({options.input, options.audioInput}, options.overwrite,
                         options.input != "-" && !options.neverOverwrite && !options.isDryRun);

    JobPlan plan = MakePlan(options, choice, sources.Video() ? &*sources.Video()->Video() : nullptr,
                            sources.Audio() ? &*sources.Audio()->Audio() : nullptr);
    if (!options.noMetadata && TakesMetadata(plan.param.dwFileFourCC))
        AddMetadata(plan, sources.main->About(), sources.Audio() ? sources.Audio()->About() : Metadata());
    for (const std::string& line : PlanLines(plan, sources))
        messages.Detail(line);
    if (plan.isDeinterlaced)
        sources.Video()->Deinterlace(options.deinterlace.has_value());
    if (InterruptSignal())
        throw HostError(kExitSignal + InterruptSignal(), "interrupted");

    const Task task = {options, choice, sources, plan, output, report, messages};
    const uint64_t mark = messages.Mark();
    try {
        if (options.isDryRun)
            return PrintDryRun(task);
        return options.passes > 1 ? RunPasses(task) : RunJob(task);
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
            Report report(*options, messages);
            return report.Around([&] {
                const Plugins plugins(common.pluginsFolder, messages);
                return RunEncode(*options, plugins.GetCatalogue(), report, messages);
            });
        };
    });
}

} // namespace host
