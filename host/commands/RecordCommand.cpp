// "encmgr record": from live sources to a judged file.
#include "host/base/ExitCode.h"
#include "host/base/Interrupt.h"
#include "host/base/Text.h"
#include "host/commands/Arguments.h"
#include "host/commands/Commands.h"
#include "host/commands/EncodeArguments.h"
#include "host/commands/EncodeVerdict.h"
#include "host/commands/JobGuard.h"
#include "host/commands/OutputName.h"
#include "host/commands/PresetFile.h"
#include "host/commands/QualityCheck.h"
#include "host/commands/Recording.h"
#include "host/job/PlanReport.h"
#include "host/job/Plugins.h"
#include "host/job/Report.h"
#include "host/job/Revisions.h"
#include "host/sources/LiveDevices.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace host
{

namespace
{

struct RecordOptions {
    EncodeOptions encode;
    bool isList = false;
};

// Encoders that are to keep up with the real time at any size take less care, unless their speed was asked for.
void AddSpeed(JobPlan& plan)
{
    constexpr struct {
        KXDWORD fourCC;
        const char* key;
        const char* value;
    } rows[] = {
        {KX_FOURCC('H', '2', '6', '4'), "preset", "veryfast"},   {KX_FOURCC('H', 'E', 'V', 'C'), "preset", "ultrafast"},
        {KX_FOURCC('V', 'P', '8', ' '), "deadline", "realtime"}, {KX_FOURCC('V', 'P', '8', ' '), "cpu-used", "8"},
        {KX_FOURCC('V', 'P', '9', ' '), "deadline", "realtime"}, {KX_FOURCC('V', 'P', '9', ' '), "cpu-used", "8"},
    };
    const char* const text = KXGetOptions(plan.param.video.dwOptions);
    const std::string asked = text ? text : "";
    for (const char* key : {"preset=", "deadline=", "cpu-used="})
        if (asked.find(key) != std::string::npos)
            return;
    for (const auto& row : rows)
        if (row.fourCC == plan.param.video.dwFourCC)
            plan.AddVideoOption(row.key, row.value);
}

std::optional<Nanoseconds> LengthOf(const EncodeOptions& options, const JobPlan& plan)
{
    if (options.pictures && plan.hasVideo)
        return av_rescale(*options.pictures, kSecond * plan.frameRate.den, plan.frameRate.num);
    return options.duration;
}

int PrintDevices()
{
    const auto devices = ListLiveDevices();
    int width = 0;
    for (const LiveDevice& device : devices)
        width = std::max(width, static_cast<int>(device.name.size()));
    for (const LiveDevice& device : devices)
        std::printf("%-*s  %s\n", width, device.name.c_str(), device.description.c_str());
    return kExitGood;
}

// What a recording is made of.
struct Task {
    const EncodeOptions& options;
    const Choice& choice;
    const LiveInputs& inputs;
    JobPlan& plan;
    OutputFile& output;
    Report& report;
    Messages& messages;
};

// Returns the exit code; throws HostError if there is no good file.
int RunJob(const Task& task)
{
    const auto& [options, choice, inputs, plan, output, report, messages] = task;
    output.Create();
    const uint64_t mark = messages.Mark();
    Tally tally(plan, output);
    JobWriter writer(plan, output, tally);
    LeaveOutLost(plan, writer.Made(), messages, mark);
    report.SetPlan(PlanJson({choice, plan, writer.Settled()}));
    for (const Revision& revision : FindRevisions(plan, writer.Settled().m_EncParam))
        messages.Say(Format("%s: its %s", output.Path().c_str(), revision.Text().c_str()));
    const auto length = LengthOf(options, plan);
    const auto delayOf = [](const LiveInput* input) { return input ? input->Delay() : 0; };
    LiveJob job(plan, writer, tally, {length, delayOf(inputs.Video()), delayOf(inputs.Audio())});
    Recording recording(options, inputs, length.has_value(), messages);
    Progress progress(messages, options.progress, output, length.value_or(0), plan.hasVideo);
    const CloseReport closing =
        RunToClose([&] { recording.Run(job, tally, progress); }, writer, tally, progress, report, plan, output);
    const Sources sources = recording.Ended();
    report.SetInput(*sources.main, sources.separateAudio.get()); // with its faults
    report.SetResult(tally, plan, output);
    if (job.Silence() > 0)
        messages.Say(Format("%.3f s of silence stand for audio that didn't come", InSeconds(job.Silence())));
    return Judge({options, sources, plan, output, job, closing, progress.Seconds(), true}, messages);
}

int RunRecord(const EncodeOptions& options, const Catalogue& catalogue, Report& report, Messages& messages)
{
    if (options.passes > 1)
        throw HostError(kExitUsage, Format("--passes: %s can be read only once", ShownName(options.input).c_str()));
    const Choice choice = catalogue.Choose(options);
    CheckQuality(options, choice);
    if (options.passes > 1)
        throw HostError(kExitUsage, "--passes: a live source can be read only once");
    OutputFile output(OutputNameOf(options, choice));
    output.CheckWritable({options.input, options.audioInput}, options.overwrite,
                         options.input != "-" && !options.neverOverwrite);
    const LiveInputs inputs = OpenLiveInputs(options, choice, messages);
    report.SetInput(*inputs.main, inputs.sound.get());
    JobPlan plan = MakePlan(options, choice, inputs.Video() ? &*inputs.Video()->Video() : nullptr,
                            inputs.Audio() ? &*inputs.Audio()->Audio() : nullptr);
    AddSpeed(plan);
    if (plan.isDeinterlaced)
        inputs.Video()->Deinterlace(options.deinterlace.has_value());
    if (InterruptSignal())
        throw HostError(kExitSignal + InterruptSignal(), "interrupted");
    const Task task = {options, choice, inputs, plan, output, report, messages};
    return GuardJob(output, report, messages, [&] { return RunJob(task); });
}

void AddSources(CLI::App& command, RecordOptions& options)
{
    const char* const group = "Sources and files";
    CLI::Option* const source = AddFile(command, "SOURCE", options.encode.input, "A screen, camera, sound, or address");
    source->type_name("")->multi_option_policy(CLI::MultiOptionPolicy::Throw)->group(group);
    AddFile(command, "-o,--output", options.encode.output, "The file to write; \"-\" for the standard output")
        ->type_name("OUTPUT")
        ->group(group);
    AddFile(command, "-a,--audio", options.encode.audioInput, "Take the audio from this source")
        ->type_name("SOURCE")
        ->group(group);
    AddOverwriting(command, options.encode, group);
    command
        .add_flag("--allow-missing-stream", options.encode.mayLackStream,
                  "Go on without video or audio if its encoder can't be set up")
        ->group(group);
    const auto length = [](const std::string& text) {
        const auto time = ParseTime(text);
        return time && *time > 0 ? time : std::nullopt;
    };
    AddValue(command, "--duration", options.encode.duration, length, "a time such as 12.5, 1:30 or 1:02:03.250",
             "End the file after this time (default: with Ctrl-C or q)")
        ->type_name("TIME")
        ->group(group);
    command.add_flag("--list", options.isList, "Print the devices that there are")->group(group);
}

} // namespace

void AddRecordCommand(CLI::App& program, Run& chosen)
{
    CLI::App* const command =
        program.add_subcommand("record", "Write a file from a screen, a camera, sound or a stream");
    command->footer(std::string(kLiveNameHelp) + "\n" + kExitCodeHelp +
                    "Of record, a first Ctrl-C or SIGTERM is the usual end, with 0.\n");
    const auto options = std::make_shared<RecordOptions>();
    AddPresetOption(*command);
    AddSources(*command, *options);
    AddJobArguments(*command, options->encode);
    command->callback([options, &chosen] {
        if (!options->isList && options->encode.input.empty())
            throw CLI::RequiredError("SOURCE");
        if (!options->isList && options->encode.output.empty())
            throw CLI::RequiredError("--output");
        chosen = [options](const CommonOptions& common, Messages& messages) {
            if (options->isList)
                return PrintDevices();
            Report report(options->encode, messages);
            return report.Around([&] {
                const Plugins plugins(common.pluginsFolder, messages);
                return RunRecord(options->encode, plugins.GetCatalogue(), report, messages);
            });
        };
    });
}

} // namespace host
