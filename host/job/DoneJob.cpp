#include "host/job/DoneJob.h"

#include "host/base/ExitCode.h"
#include "host/base/Text.h"
#include "host/base/WholeFile.h"
#include "host/job/Report.h"

#include <sys/stat.h>

namespace host
{

namespace
{

template <class Value> Json Optional(const std::optional<Value>& value)
{
    return value ? Json(*value) : Json();
}

Json WrittenSize(const std::optional<PictureSize>& size)
{
    return size ? Json(Format("%dx%d", size->width, size->height)) : Json();
}

Json WrittenRate(const std::optional<AVRational>& rate)
{
    return rate ? Json(Format("%d/%d", rate->num, rate->den)) : Json();
}

// A test card is the same whenever it is made; other sources without a file may not be.
bool IsSameSource(const Json& then, const std::string& name)
{
    const Json now = FileStateJson(name);
    return then.at("name") == name && (name.starts_with("testcard:") || (!now.is_null() && then.at("file") == now));
}

bool IsSameJob(const Json& report, const EncodeOptions& options)
{
    const Json& sound = report.at("audio_input");
    const Json output = FileStateJson(options.output);
    return report.at("schema") == kReportSchema && report.at("program") == kReportProgram &&
           report.at("exit").at("code") == int{kExitGood} && report.at("dry_run") == false &&
           report.at("options") == OptionsJson(options) && IsSameSource(report.at("input"), options.input) &&
           (options.audioInput.empty() ? sound.is_null() : IsSameSource(sound, options.audioInput)) &&
           report.at("output").at("path") == AbsolutePath(options.output) && !output.is_null() &&
           report.at("output").at("file") == output;
}

} // namespace

Json OptionsJson(const EncodeOptions& options)
{
    return {{"format", options.format},
            {"video_encoder", options.videoEncoder},
            {"audio_encoder", options.audioEncoder},
            {"no_video", options.noVideo},
            {"no_audio", options.noAudio},
            {"size", WrittenSize(options.size)},
            {"rate", WrittenRate(options.frameRate)},
            {"fit", options.fit ? Json(static_cast<int>(*options.fit)) : Json()},
            {"scaling", static_cast<int>(options.scaling)},
            {"deinterlace", Optional(options.deinterlace)},
            {"video_bit_rate", options.videoBitRate},
            {"audio_bit_rate", options.audioBitRate},
            {"sample_rate", options.sampleRate},
            {"channels", options.channels},
            {"library_resampling", options.isLibraryResampling},
            {"pictures", Optional(options.pictures)},
            {"expected_pictures", Optional(options.expectedPictures)},
            {"quality", Optional(options.quality)},
            {"preset", options.preset},
            {"tune", options.tune},
            {"key_distance", Optional(options.keyDistance)},
            {"passes", options.passes},
            {"fragmented", options.isFragmented},
            {"video_options", options.videoOptions},
            {"audio_options", options.audioOptions},
            {"start", options.start},
            {"end", Optional(options.end)},
            {"duration", Optional(options.duration)},
            {"video_stream", options.videoStream},
            {"audio_stream", options.audioStream},
            {"no_metadata", options.noMetadata},
            {"longest_gap", options.longestGap},
            {"strict", options.isStrict},
            {"may_lack_stream", options.mayLackStream}};
}

Json FileStateJson(const std::string& name)
{
    struct stat status = {};
    if (name == "-" || stat(name.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return {};
    return {{"bytes", status.st_size},
            {"modified", Format("%lld.%09ld", static_cast<long long>(status.st_mtim.tv_sec), status.st_mtim.tv_nsec)}};
}

bool IsDone(const EncodeOptions& options)
{
    try {
        return options.report != "-" && IsSameJob(ParseJson(ReadWholeFile(options.report), options.report), options);
    } catch (const HostError&) {
        return false; // no report yet, or none that can be read
    } catch (const Json::exception&) {
        return false; // one of another kind
    }
}

} // namespace host
