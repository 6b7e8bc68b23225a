#include "host/commands/EncodeArguments.h"

#include "host/commands/Arguments.h"
#include "host/commands/PresetFile.h"
#include "host/commands/QualityArguments.h"

namespace host
{

namespace
{

const char* const kTold = "What is told";

void AddFiles(CLI::App& command, EncodeOptions& options)
{
    const char* const group = "Files";
    AddFile(command, "INPUT", options.input, "A media file, an address, \"-\" for the standard input, or a test card")
        ->required()
        ->type_name("")
        ->multi_option_policy(CLI::MultiOptionPolicy::Throw)
        ->group(group);
    AddFile(command, "-o,--output", options.output, "The file to write; \"-\" for the standard output")
        ->required()
        ->type_name("OUTPUT")
        ->group(group);
    AddFile(command, "-a,--audio", options.audioInput, "Take the audio from this file instead")
        ->type_name("FILE")
        ->group(group);
    AddOverwriting(command, options, group);
    command
        .add_flag("--allow-missing-stream", options.mayLackStream,
                  "Go on without video or audio if its encoder can't be set up")
        ->group(group);
}

void AddChoice(CLI::App& command, EncodeOptions& options)
{
    const char* const group = "Format and encoders, by FourCC or name as in encmgr list";
    CLI::Option* const format =
        command.add_option("-f,--format", options.format, "File format (default: by OUTPUT's ending)");
    CLI::Option* const videoEncoder =
        command.add_option("--vc", options.videoEncoder, "Video encoder (default: the format's first)");
    CLI::Option* const audioEncoder =
        command.add_option("--ac", options.audioEncoder, "Audio encoder (default: the format's first)");
    for (CLI::Option* option : {format, videoEncoder, audioEncoder})
        option->type_name("NAME")->group(group);
    SetCompletion(*format, {Completion::Kind::kListed, {"formats"}});
    SetCompletion(*videoEncoder, {Completion::Kind::kListed, {"video-encoders"}});
    SetCompletion(*audioEncoder, {Completion::Kind::kListed, {"audio-encoders"}});
    CLI::Option* const noVideo = command.add_flag("--vn", options.noVideo, "No video");
    noVideo->group(group)->excludes(videoEncoder);
    command.add_flag("--an", options.noAudio, "No audio")
        ->group(group)
        ->excludes(noVideo)
        ->excludes(audioEncoder)
        ->excludes(command.get_option("--audio"));
}

void AddPart(CLI::App& command, EncodeOptions& options)
{
    const char* const group = "Part of the input; times are seconds, MM:SS or HH:MM:SS.mmm";
    const std::string expected = "a time such as 12.5, 1:30 or 1:02:03.250";
    const auto later = [](const std::string& text) {
        const auto time = ParseTime(text);
        return time && *time > 0 ? time : std::nullopt;
    };
    AddValue(command, "--start", options.start, ParseTime, expected, "Begin with the picture that stands there")
        ->type_name("TIME")
        ->group(group);
    CLI::Option* const end =
        AddValue(command, "--end", options.end, later, expected, "End before this time of the input");
    end->type_name("TIME")->group(group);
    AddValue(command, "--duration", options.duration, later, expected, "Or end after so long")
        ->type_name("TIME")
        ->group(group)
        ->excludes(end);
    CLI::Option* const video = command.add_option("--video-stream", options.videoStream,
                                                  "The video stream to take: its number, from 0 on, or a language");
    CLI::Option* const audio = command.add_option("--audio-stream", options.audioStream,
                                                  "The audio stream to take, likewise: --audio-stream deu");
    for (CLI::Option* stream : {video, audio})
        stream->type_name("N")->group(group);
    command.add_flag("--no-metadata", options.noMetadata, "Leave out chapters, titles, languages and the cover")
        ->group(group);
}

void AddVideo(CLI::App& command, EncodeOptions& options)
{
    const char* const group = "Video";
    const auto size = [](const std::string& text) { return ParseSizeOrSide(text, 16, kLargestSide); };
    AddValue(command, "-s,--size", options.size, size,
             "a size such as 640x360 or 1280x, from 16 to 16384 pixels each way",
             "Picture size (default: the input's); a free side keeps the shape: 1280x, x720 (even), 1280x-1 (any)")
        ->type_name("WxH")
        ->group(group);
    AddValue(command, "-r,--rate", options.frameRate, ParseRate,
             "a frame rate such as 25 or 30000/1001, from 0.01 to 200",
             "Pictures per second, N or N/D (default: the input's)")
        ->type_name("FPS")
        ->group(group);
    const Words<IMAGE_RESIZE_METHOD> fits = {{"stretch", IMAGE_RESIZE_STRETCH},
                                             {"keep", IMAGE_RESIZE_KEEP},
                                             {"16:9", IMAGE_RESIZE_16_9},
                                             {"4:3", IMAGE_RESIZE_4_3},
                                             {"crop", IMAGE_RESIZE_CROP}};
    AddWord(command, "--fit", options.fit, fits,
            "Into another shape: keep (bars, the default), stretch, crop, 16:9 or 4:3")
        ->type_name("METHOD")
        ->group(group);
    AddWord(command, "--scale", options.scaling, ScalingWords(),
            "Scaling: bilinear (the default), smooth (the default below half the size), cubic or near")
        ->type_name("METHOD")
        ->group(group);
    command
        .add_flag_callback(
            "--deinterlace", [&options] { options.deinterlace = true; },
            "Make whole pictures of two fields (default: of interlaced ones whose height changes)")
        ->group(group);
    command
        .add_flag_callback(
            "--no-deinterlace", [&options] { options.deinterlace = false; }, "Leave fields as they are")
        ->excludes("--deinterlace")
        ->group(group);
    AddValue(command, "--vb", options.videoBitRate, ParseBitRate, "a bit rate such as 800k or 2.5M",
             "Bit rate, as in 800k or 2.5M (default: the encoder's own)")
        ->type_name("RATE")
        ->group(group);
    AddInteger(command, "--frames", options.pictures, {1, 2'000'000'000}, "a count from 1 to 2000000000",
               "End the file after this many pictures")
        ->type_name("N")
        ->group(group);
}

// What can be asked of a file beforehand, but not of a live source.
void AddLimits(CLI::App& command, EncodeOptions& options)
{
    const char* const group = "Video";
    const auto gap = [](const std::string& text) {
        const auto seconds = ParseNumber(text);
        return seconds && *seconds >= 0.1 && *seconds <= 1e6 ? seconds : std::nullopt;
    };
    AddValue(command, "--max-gap", options.longestGap, gap, "a number of seconds from 0.1 to 1000000",
             "Fail where the input shows no new picture for longer (default: 10)")
        ->type_name("SEC")
        ->group(group);
    command.add_flag("--strict-cfr", options.isStrict, "Fail if a picture has to be repeated or left out")
        ->group(group);
    AddInteger(command, "--expect-frames", options.expectedPictures, {1, 2'000'000'000}, "a count from 1 to 2000000000",
               "Fail, and leave no file, if it would have fewer pictures")
        ->type_name("N")
        ->group(group);
    command
        .add_flag("--skip-done", options.skipsDone,
                  "End at once if --report FILE shows that OUTPUT was made from this INPUT by these options")
        ->needs("--report")
        ->group(kTold);
    command.add_flag("--dry-run", options.isDryRun, "Set the job up, print what it would do, and leave no file")
        ->group(kTold);
    AddPluginCheck(command, options.checksPlugins);
}

void AddAudio(CLI::App& command, EncodeOptions& options)
{
    const char* const group = "Audio";
    AddValue(command, "--ab", options.audioBitRate, ParseBitRate, "a bit rate such as 128k",
             "Bit rate, as in 128k (default: the encoder's own)")
        ->type_name("RATE")
        ->group(group);
    AddInteger(command, "--ar", options.sampleRate, {1000, 384000}, "a sample rate from 1000 to 384000 Hz",
               "Samples per second (default: the input's)")
        ->type_name("HZ")
        ->group(group);
    const Words<bool> resamplers = {{"filter", false}, {"library", true}};
    AddWord(command, "--resampler", options.isLibraryResampling, resamplers,
            "To another rate: filter (a low-pass filter, the default) or library (EncMgr's own, between two samples)")
        ->type_name("METHOD")
        ->group(group);
    AddInteger(command, "--channels", options.channels, {1, 2}, "1 or 2", "1 or 2 (default: the input's, at most 2)")
        ->type_name("N")
        ->group(group);
}

void AddReports(CLI::App& command, EncodeOptions& options)
{
    AddFile(command, "--report", options.report,
            "Write what was done, and how it ended, as JSON; \"-\" for the standard output")
        ->type_name("FILE")
        ->group(kTold);
    const Words<ProgressKind> kinds = {{"auto", ProgressKind::kAuto},
                                       {"bar", ProgressKind::kBar},
                                       {"lines", ProgressKind::kLines},
                                       {"json", ProgressKind::kJson},
                                       {"none", ProgressKind::kNone}};
    AddWord(command, "--progress", options.progress, kinds,
            "How far it is: auto (a bar on a terminal, the default), bar, lines, json or none")
        ->type_name("KIND")
        ->group(kTold);
}

} // namespace

void AddEncodeArguments(CLI::App& command, EncodeOptions& options)
{
    AddPresetOption(command);
    AddFiles(command, options);
    AddPart(command, options);
    AddJobArguments(command, options);
    AddLimits(command, options);
}

void AddJobArguments(CLI::App& command, EncodeOptions& options)
{
    AddChoice(command, options);
    AddVideo(command, options);
    AddAudio(command, options);
    AddQualityArguments(command, options);
    AddReports(command, options);
}

} // namespace host
