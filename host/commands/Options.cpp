#include "host/commands/Options.h"

#include "host/base/ExitCode.h"
#include "host/base/Text.h"
#include "host/sources/TestCard.h"

#include <CLI/CLI.hpp>

#include <climits>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace host
{

namespace
{

const char* const kFitHelp =
    "Fitting with -s: keep shows the whole picture in its own shape, 16:9 and 4:3 show it in that shape, all three "
    "with\n"
    "bars; crop fills the output and cuts what stands out; stretch gives it the output's shape. Without -s the size "
    "is\n"
    "the input's; a picture of pixels that aren't square gets the width that it is shown with.\n";

const char* const kExitCodeHelp = "Exit codes:\n"
                                  "  0    a good file was written\n"
                                  "  1    the job failed; a file that was new has been removed\n"
                                  "  2    bad usage: unknown option, format or encoder, or a bad value\n"
                                  "  3    the input can't be opened or decoded, or breaks off\n"
                                  "  4    the output can't be created, or exists and -y isn't given\n"
                                  "  5    no plug-ins were found\n"
                                  "  130  interrupted by Ctrl-C; the file is finished up to there\n";

// Values as they were written, until they are parsed.
struct RawValues {
    std::optional<std::string> overlaySize, overlayAt, through, difference;
    std::optional<std::string> size, frameRate, fit, scale, videoBitRate, audioBitRate, sampleRate, channels, pictures;
    bool isQuiet = false;
    bool isVerbose = false;
};

std::string VersionText()
{
    const auto version = [](const char* name, unsigned number) {
        return Format("%s %u.%u.%u", name, AV_VERSION_MAJOR(number), AV_VERSION_MINOR(number),
                      AV_VERSION_MICRO(number));
    };
    return Format("encmgr %s (%s, %s)", ENCMGR_VERSION, version("libavformat", avformat_version()).c_str(),
                  version("libavcodec", avcodec_version()).c_str());
}

void AddCommonOptions(CLI::App& app, Options& options, RawValues& raw)
{
    app.add_flag("-q,--quiet", raw.isQuiet, "Print errors alone");
    app.add_flag("-v,--verbose", raw.isVerbose, "Print the logs of the library and of libav, too");
    app.add_option("--plugins", options.pluginsFolder, "The folder that holds PlugIns (default: the program's own)")
        ->type_name("DIR");
}

void AddEncodeOptions(CLI::App& app, EncodeOptions& encode, RawValues& raw)
{
    const char* const files = "Files";
    app.add_option("INPUT", encode.input, "A media file, an address, \"-\" for the standard input, or a test card")
        ->required()
        ->type_name("")
        ->multi_option_policy(CLI::MultiOptionPolicy::Throw)
        ->group(files);
    app.add_option("-o,--output", encode.output, "The file to write; \"-\" for the standard output")
        ->required()
        ->type_name("OUTPUT")
        ->group(files);
    app.add_option("-a,--audio", encode.audioInput, "Take the audio from this file instead")
        ->type_name("FILE")
        ->group(files);
    app.add_flag("-y,--overwrite", encode.overwrite, "Overwrite OUTPUT if it exists")->group(files);

    const char* const choice = "Format and encoders, by FourCC or name as in encmgr list";
    app.add_option("-f,--format", encode.format, "File format (default: by OUTPUT's ending)")
        ->type_name("NAME")
        ->group(choice);
    app.add_option("--vc", encode.videoEncoder, "Video encoder (default: the format's first)")
        ->type_name("NAME")
        ->group(choice);
    app.add_option("--ac", encode.audioEncoder, "Audio encoder (default: the format's first)")
        ->type_name("NAME")
        ->group(choice);
    app.add_flag("--vn", encode.noVideo, "No video")->group(choice);
    app.add_flag("--an", encode.noAudio, "No audio")->group(choice);

    const char* const video = "Video";
    app.add_option("-s,--size", raw.size, "Picture size (default: the input's, with square pixels)")
        ->type_name("WxH")
        ->group(video);
    app.add_option("-r,--rate", raw.frameRate, "Pictures per second, N or N/D (default: the input's)")
        ->type_name("FPS")
        ->group(video);
    app.add_option("--fit", raw.fit, "Into another shape: keep (bars, the default), stretch, crop, 16:9 or 4:3")
        ->type_name("METHOD")
        ->group(video);
    app.add_option("--scale", raw.scale, "Scaling: bilinear (the default) or near")->type_name("METHOD")->group(video);
    app.add_option("--vb", raw.videoBitRate, "Bit rate, as in 800k or 2.5M (default: the encoder's own)")
        ->type_name("RATE")
        ->group(video);
    app.add_option("--frames", raw.pictures, "End the file after this many pictures")->type_name("N")->group(video);

    const char* const audio = "Audio";
    app.add_option("--ab", raw.audioBitRate, "Bit rate, as in 128k (default: the encoder's own)")
        ->type_name("RATE")
        ->group(audio);
    app.add_option("--ar", raw.sampleRate, "Samples per second (default: the input's)")->type_name("HZ")->group(audio);
    app.add_option("--channels", raw.channels, "1 or 2 (default: the input's, at most 2)")
        ->type_name("N")
        ->group(audio);
}

void AddConvertOptions(CLI::App& app, ConvertOptions& convert, RawValues& raw)
{
    const char* const files = "Files";
    app.add_option("INPUT", convert.input, "A picture: PNG, PPM or whatever libav reads")
        ->required()
        ->type_name("")
        ->multi_option_policy(CLI::MultiOptionPolicy::Throw)
        ->group(files);
    app.add_option("-o,--output", convert.output, "The PNG file to write")
        ->required()
        ->type_name("OUTPUT")
        ->group(files);
    app.add_flag("-y,--overwrite", convert.overwrite, "Overwrite OUTPUT if it exists")->group(files);

    const char* const steps = "Steps, in this order";
    app.add_option("-s,--size", raw.size, "Scale to this size (default: the input's)")->type_name("WxH")->group(steps);
    app.add_option("--scale", raw.scale, "Scaling: bilinear (the default), near or convolve")
        ->type_name("METHOD")
        ->group(steps);
    app.add_option("--overlay", convert.overlay, "Lay this picture over it by its opacity")
        ->type_name("FILE")
        ->group(steps);
    app.add_option("--overlay-size", raw.overlaySize, "Stretch the overlay to this size (default: its own)")
        ->type_name("WxH")
        ->group(steps);
    app.add_option("--at", raw.overlayAt, "The overlay's top left corner (default: 0x0)")
        ->type_name("XxY")
        ->group(steps);
    app.add_option("--mask", convert.mask, "Stretch this picture over it and cut it by its green: black wipes")
        ->type_name("FILE")
        ->group(steps);
    app.add_option("--through", raw.through, "Send it through yuv420, yuy2 or uyvy and back")
        ->type_name("LAYOUT")
        ->group(steps);
    app.add_option("--difference", raw.difference, "Write what --through changed, times this")
        ->type_name("FACTOR")
        ->group(steps);
}

[[noreturn]] void Refuse(const char* option, const std::string& text, const char* expected)
{
    throw HostError(kExitUsage, Format("%s: \"%s\" isn't %s", option, text.c_str(), expected));
}

// Leaves value alone if the option wasn't given.
template <class Value, class Parse>
void Take(Value& value, const char* option, const std::optional<std::string>& text, const char* expected, Parse parse)
{
    if (!text)
        return;
    const auto parsed = parse(*text);
    if (!parsed)
        Refuse(option, *text, expected);
    value = *parsed;
}

std::optional<Fit> ParseFit(const std::string& text)
{
    const struct {
        const char* name;
        Fit fit;
    } names[] = {
        {"stretch", kFitStretch}, {"keep", kFitKeep}, {"16:9", kFit16To9}, {"4:3", kFit4To3}, {"crop", kFitCrop}};
    for (const auto& entry : names)
        if (text == entry.name)
            return entry.fit;
    return std::nullopt;
}

std::optional<Through> ParseThrough(const std::string& text)
{
    if (text == "yuv420")
        return Through::kYuv420;
    if (text == "yuy2")
        return Through::kYuy2;
    return text == "uyvy" ? std::optional(Through::kUyvy) : std::nullopt;
}

std::optional<int> ParseInterpolation(const std::string& text)
{
    if (text == "near")
        return 1;
    return text == "bilinear" ? std::optional(2) : std::nullopt;
}

void ParseValues(const RawValues& raw, ConvertOptions& convert)
{
    const auto size = [](int least) {
        return [least](const std::string& text) { return ParseSize(text, least, 16384); };
    };
    const char* const sizeHelp = "a size such as 640x360, from 2 to 16384 pixels each way";
    Take(convert.size, "-s", raw.size, sizeHelp, size(2));
    Take(convert.overlaySize, "--overlay-size", raw.overlaySize, sizeHelp, size(2));
    Take(convert.overlayAt, "--at", raw.overlayAt, "a place such as 20x10", size(0));
    Take(convert.interpolation, "--scale", raw.scale, "one of near, bilinear and convolve",
         [](const std::string& text) { return text == "convolve" ? std::optional(3) : ParseInterpolation(text); });
    Take(convert.through, "--through", raw.through, "one of yuv420, yuy2 and uyvy", ParseThrough);
    Take(convert.difference, "--difference", raw.difference, "a factor from 1 to 255",
         [](const std::string& text) { return ParseInteger(text, 1, 255); });
    if (convert.difference && !convert.through)
        throw HostError(kExitUsage, "--difference needs --through");
    if (convert.overlay.empty() && (raw.overlaySize || raw.overlayAt))
        throw HostError(kExitUsage, "--overlay-size and --at need --overlay");
    if (convert.input.empty() || convert.output.empty())
        throw HostError(kExitUsage, "an empty file name");
}

void ParseValues(const RawValues& raw, EncodeOptions& encode)
{
    const auto integer = [](int64_t least, int64_t most) {
        return [least, most](const std::string& text) { return ParseInteger(text, least, most); };
    };
    Take(encode.size, "-s", raw.size, "a size such as 640x360, from 16 to 16384 pixels each way",
         [](const std::string& text) { return ParseSize(text, 16, 16384); });
    Take(encode.frameRate, "-r", raw.frameRate, "a frame rate such as 25 or 30000/1001, from 0.01 to 200", ParseRate);
    Take(encode.fit, "--fit", raw.fit, "one of stretch, keep, 16:9, 4:3 and crop", ParseFit);
    Take(encode.interpolation, "--scale", raw.scale, "one of near and bilinear", ParseInterpolation);
    Take(encode.videoBitRate, "--vb", raw.videoBitRate, "a bit rate such as 800k or 2.5M", ParseBitRate);
    Take(encode.audioBitRate, "--ab", raw.audioBitRate, "a bit rate such as 128k", ParseBitRate);
    Take(encode.sampleRate, "--ar", raw.sampleRate, "a sample rate from 1000 to 384000 Hz", integer(1000, 384000));
    Take(encode.channels, "--channels", raw.channels, "1 or 2", integer(1, 2));
    Take(encode.pictures, "--frames", raw.pictures, "a count from 1 to 2000000000", integer(1, 2'000'000'000));
    if (encode.noVideo && encode.noAudio)
        throw HostError(kExitUsage, "--vn and --an together leave nothing to write");
    if (encode.noVideo && !encode.videoEncoder.empty())
        throw HostError(kExitUsage, "--vn and --vc exclude each other");
    if (encode.noAudio && !encode.audioEncoder.empty())
        throw HostError(kExitUsage, "--an and --ac exclude each other");
    if (encode.noAudio && !encode.audioInput.empty())
        throw HostError(kExitUsage, "--an and -a exclude each other");
    if (encode.input == "-" && encode.audioInput == "-")
        throw HostError(kExitUsage, "only one input can come from the standard input");
    if (encode.input.empty() || encode.output.empty())
        throw HostError(kExitUsage, "an empty file name");
}

} // namespace

std::optional<int> ParseOptions(int argc, char** argv, Options& options)
{
    RawValues raw;
    CLI::App app("Turns media files, or a test card, into finished files through the encoders and file formats of its "
                 "plug-ins.",
                 "encmgr");
    app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    app.set_version_flag("--version", VersionText(), "Print the version and end");
    AddCommonOptions(app, options, raw);
    app.require_subcommand(0, 1);
    app.fallthrough();
    app.footer(std::string("\"encmgr encode --help\" shows the options of encode, and so on.\n\n") + kExitCodeHelp);

    const CLI::App* const list = app.add_subcommand("list", "Print every file format with its encoders");
    CLI::App* const encode = app.add_subcommand("encode", "Write a file");
    encode->footer(std::string(kFitHelp) + "\n" + kTestCardHelp + "\n" + kExitCodeHelp);
    AddEncodeOptions(*encode, options.encode, raw);
    CLI::App* const convert = app.add_subcommand("convert", "Scale, overlay, mask or convert a single picture");
    convert->footer(kExitCodeHelp);
    AddConvertOptions(*convert, options.convert, raw);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& ending) {
        if (ending.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success))
            return app.exit(ending);
        throw HostError(kExitUsage, std::string(ending.what()) + "; --help shows what there is");
    }

    if (app.get_subcommands().empty())
        throw HostError(kExitUsage, "no command; there are list, encode and convert, and --help");
    if (raw.isQuiet && raw.isVerbose)
        throw HostError(kExitUsage, "-q and -v exclude each other");
    options.command = list->parsed() ? Command::kList : convert->parsed() ? Command::kConvert : Command::kEncode;
    options.volume = raw.isQuiet ? Volume::kQuiet : raw.isVerbose ? Volume::kVerbose : Volume::kNormal;
    if (options.command == Command::kEncode)
        ParseValues(raw, options.encode);
    if (options.command == Command::kConvert)
        ParseValues(raw, options.convert);
    return std::nullopt;
}

} // namespace host
