// "encmgr encode": from options to a judged file.
#include "host/base/ExitCode.h"
#include "host/base/Interrupt.h"
#include "host/base/Text.h"
#include "host/commands/Commands.h"
#include "host/commands/EncodeArguments.h"
#include "host/commands/EncodeVerdict.h"
#include "host/commands/FirstPass.h"
#include "host/commands/JobGuard.h"
#include "host/commands/OutputName.h"
#include "host/commands/QualityCheck.h"
#include "host/job/DoneJob.h"
#include "host/job/DryRun.h"
#include "host/job/Job.h"
#include "host/job/MetadataOptions.h"
#include "host/job/PlanReport.h"
#include "host/job/Plugins.h"
#include "host/job/Report.h"
#include "host/job/Revisions.h"
#include "host/job/TwoPasses.h"
#include "host/sources/TestCard.h"
#include "host/validate/PluginSieve.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <malloc.h>

namespace host
{

namespace
{

const char* const kFitHelp =
    R"(Fitting with -s: keep shows the whole picture in its own shape, 16:9 and 4:3 show it in that shape, all three with
bars; crop fills the output and cuts what stands out; stretch gives it the output's shape. Without -s the size and the
shape of the pixels are the input's; with -s pixels are square.
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
        for (const std::string& change : sources.Video()->Changes())
            lines.push_back("video: its pictures are " + change);
        if (plan.isDeinterlaced)
            lines.emplace_back("video: interlaced pictures are made whole");
        if (out.nPixelAspectX)
            lines.push_back(Format("video: the file states pixels of %d:%d", out.nPixelAspectX, out.nPixelAspectY));
        if (plan.scaling)
            lines.push_back(Format("video: scaled %s to %dx%d before the library gets the pictures",
                                   plan.scaling->method == Scaling::kSmooth ? "smoothly" : "by cubic convolution",
                                   plan.scaling->to.width, plan.scaling->to.height));
    }
    if (plan.hasAudio) {
        const KXAudioInfo& in = plan.audioInfo;
        const EncodeParamAudio& out = plan.param.audio;
        lines.push_back(Format("audio: %d Hz, %d channels -> %d Hz, %d channels, %s", in.samplerate, in.channels,
                               out.nSampleRate, out.nChannels, FourCCText(out.dwFourCC).c_str()));
    }
    return lines;
}

// Encoders and demuxers take and free blocks of a picture's size all the time. glibc would give each back to the
// system, which hands it out again page by page, and cleared.
void KeepFreedMemory()
{
#ifdef __GLIBC__
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, 256 << 20);
#endif
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
    const CloseReport closing = RunToClose([&] { job.Run(); }, writer, tally, progress, report, plan, output);
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
    if (options.expectedPictures && !choice.video)
        throw HostError(kExitUsage, "--expect-frames: the file has no video");
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
    return GuardJob(output, report, messages, [&] {
        if (options.isDryRun)
            return PrintDryRun(task);
        return options.passes > 1 ? RunPasses(task) : RunJob(task);
    });
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
            if (options->skipsDone && IsDone(*options)) {
                messages.Say(Format("%s is there already, says %s", options->output.c_str(), options->report.c_str()));
                return static_cast<int>(kExitGood);
            }
            Report report(*options, messages);
            return report.Around([&] {
                if (options->checksPlugins)
                    LeaveOutBadPlugins(common.pluginsFolder, messages);
                KeepFreedMemory();
                const Plugins plugins(common.pluginsFolder, messages);
                return RunEncode(*options, plugins.GetCatalogue(), report, messages);
            });
        };
    });
}

} // namespace host
