// "encmgr record": from live sources to a judged file.
#include "host/base/ExitCode.h"
#include "host/base/Interrupt.h"
#include "host/base/Text.h"
#include "host/commands/Arguments.h"
#include "host/commands/Commands.h"
#include "host/commands/EncodeArguments.h"
#include "host/commands/EncodeVerdict.h"
#include "host/commands/JobGuard.h"
#include "host/commands/Recording.h"
#include "host/job/Plugins.h"
#include "host/sources/LiveDevices.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
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
    std::optional<double> seconds;
    bool isList = false;
};

constexpr double kLongestRecording = 1e6; // in seconds

// Encoders that are to keep up with the real time at any size take less care.
const char* RealTimeOptions(KXDWORD fourCC)
{
    switch (fourCC) {
    case KX_FOURCC('H', '2', '6', '4'):
        return "preset=veryfast";
    case KX_FOURCC('H', 'E', 'V', 'C'):
        return "preset=ultrafast";
    case KX_FOURCC('V', 'P', '8', ' '):
    case KX_FOURCC('V', 'P', '9', ' '):
        return "deadline=realtime:cpu-used=8";
    default:
        return nullptr;
    }
}

std::optional<Nanoseconds> LengthOf(const RecordOptions& options, const JobPlan& plan)
{
    if (options.encode.pictures && plan.hasVideo)
        return av_rescale(*options.encode.pictures, kSecond * plan.frameRate.den, plan.frameRate.num);
    if (options.seconds)
        return std::llround(*options.seconds * static_cast<double>(kSecond));
    return std::nullopt;
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

// Returns the exit code; throws HostError if there is no good file.
int RunJob(const RecordOptions& options, const LiveInputs& inputs, JobPlan& plan, OutputFile& output,
           Messages& messages)
{
    output.Create();
    const uint64_t mark = messages.Mark();
    JobWriter writer(plan, output);
    LeaveOutLost(plan, writer.Made(), messages, mark);
    for (const std::string& line : writer.Revisions())
        messages.Say(Format("%s: its %s", output.Path().c_str(), line.c_str()));
    const auto length = LengthOf(options, plan);
    const auto delayOf = [](const LiveInput* input) { return input ? input->Delay() : 0; };
    LiveJob job(plan, writer, {length, delayOf(inputs.Video()), delayOf(inputs.Audio())});
    Recording recording(options.encode, inputs, length.has_value(), messages);
    Progress progress(messages, output, length.value_or(0), plan.hasVideo);
    recording.Run(job, progress);
    const CloseReport report = writer.Close();
    progress.End();
    if (job.Silence() > 0)
        messages.Say(Format("%.3f s of silence stand for audio that didn't come", InSeconds(job.Silence())));
    const Sources sources = recording.Ended();
    return Judge({options.encode, sources, plan, output, job, report, progress.Seconds(), true}, messages);
}

int RunRecord(const RecordOptions& record, const Catalogue& catalogue, Messages& messages)
{
    const EncodeOptions& options = record.encode;
    const Choice choice = catalogue.Choose(options);
    OutputFile output(options.output);
    output.CheckWritable({options.input, options.audioInput}, options.overwrite,
                         options.input != "-" && !options.neverOverwrite);
    const LiveInputs inputs = OpenLiveInputs(options, choice, messages);
    JobPlan plan = MakePlan(options, choice, inputs.Video() ? &*inputs.Video()->Video() : nullptr,
                            inputs.Audio() ? &*inputs.Audio()->Audio() : nullptr);
    if (const char* const text = plan.hasVideo ? RealTimeOptions(plan.param.video.dwFourCC) : nullptr)
        KXSetOptions(plan.param.video.dwOptions, text);
    if (plan.isDeinterlaced)
        inputs.Video()->Deinterlace(options.deinterlace.has_value());
    if (InterruptSignal())
        throw HostError(kExitSignal + InterruptSignal(), "interrupted");
    return GuardJob(output, messages, [&] { return RunJob(record, inputs, plan, output, messages); });
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
    const auto seconds = [](const std::string& text) {
        const auto value = ParseNumber(text);
        return value && *value > 0.0 && *value <= kLongestRecording ? value : std::nullopt;
    };
    AddValue(command, "--duration", options.seconds, seconds, "a number of seconds, up to 1000000",
             "End the file after this time (default: with Ctrl-C or q)")
        ->type_name("SEC")
        ->group(group);
    command.add_flag("--list", options.isList, "Print the devices that there are")->group(group);
}

} // namespace

void AddRecordCommand(CLI::App& program, Run& chosen)
{
    CLI::App* const command =
        program.add_subcommand("record", "Write a file from a screen, a camera, sound or a stream");
    command->footer(std::string(kLiveNameHelp) + "\n" + kExitCodeHelp);
    const auto options = std::make_shared<RecordOptions>();
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
            const Plugins plugins(common.pluginsFolder, messages);
            return RunRecord(*options, plugins.GetCatalogue(), messages);
        };
    });
}

} // namespace host
