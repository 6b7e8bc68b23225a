#include "host/base/Text.h"
#include "host/commands/Probe.h"

#include <cmath>

namespace host
{

namespace
{

// Grows when a member changes its meaning or goes; new members may come at any time.
constexpr int kSchemaVersion = 1;

Json OrNull(const std::string& text)
{
    return text.empty() ? Json() : Json(text);
}

Json OrNull(int64_t value)
{
    return value ? Json(value) : Json();
}

Json RatioJson(AVRational ratio, char separator)
{
    return ratio.num ? Json(Format("%d%c%d", ratio.num, separator, ratio.den)) : Json();
}

const char* NameOf(RateKind kind)
{
    switch (kind) {
    case RateKind::kSteady:
        return "steady";
    case RateKind::kWavering:
        return "wavering";
    case RateKind::kVariable:
        return "variable";
    default:
        return "stated";
    }
}

const char* NameOf(Fields fields)
{
    switch (fields) {
    case Fields::kNone:
        return "progressive";
    case Fields::kTopFirst:
        return "topFirst";
    case Fields::kBottomFirst:
        return "bottomFirst";
    default:
        return nullptr;
    }
}

Json ColourJson(const VideoFacts& video)
{
    const char* const hdr = HdrTransferName(video.stored.colour);
    return {{"range", video.isFullRange ? "full" : "limited"},
            {"matrix", OrNull(video.matrix)},
            {"isMatrixStated", video.isMatrixStated},
            {"primaries", OrNull(video.primaries)},
            {"transfer", OrNull(video.transfer)},
            {"highDynamicRange", hdr ? Json(hdr) : Json()}};
}

Json VideoJson(const VideoFacts& video)
{
    const VideoFormat shown = video.Shown();
    AVRational shape = {0, 1}; // of the whole picture
    av_reduce(&shape.num, &shape.den, static_cast<int64_t>(shown.width) * shown.pixelAspect.num,
              static_cast<int64_t>(shown.height) * shown.pixelAspect.den, 1 << 20);
    const char* const fields = NameOf(video.stored.fields);
    return {
        {"width", video.stored.width},
        {"height", video.stored.height},
        {"pixelAspect", RatioJson(video.stored.pixelAspect, ':')},
        {"shown",
         {{"width", shown.width},
          {"height", shown.height},
          {"pixelAspect", RatioJson(shown.pixelAspect, ':')},
          {"displayAspect", RatioJson(shape, ':')}}},
        {"rotation", video.turn.oddAngle != 0.0 ? std::fmod(360.0 - video.turn.oddAngle, 360.0) : video.turn.clockwise},
        {"isMirrored", video.turn.isMirrored},
        {"pixelFormat", OrNull(video.pixels)},
        {"bits", OrNull(video.bits)},
        {"colour", ColourJson(video)},
        {"fields", fields ? Json(fields) : Json()},
        {"frameRate", RatioJson(video.stored.frameRate, '/')},
        {"framesPerSecond", av_q2d(video.stored.frameRate)},
        {"rateKind", NameOf(video.rateKind)},
        {"statedFrameRate", RatioJson(video.statedRate, '/')}};
}

Json StreamJson(const StreamFacts& stream)
{
    Json json = {{"index", stream.index},
                 {"kind", stream.kind},
                 {"codec", stream.codec},
                 {"profile", OrNull(stream.profile)},
                 {"bitRate", OrNull(stream.bitRate)},
                 {"isUsed", stream.isUsed},
                 {"isDecodable", stream.isDecodable},
                 {"isDefault", stream.isDefault},
                 {"isForced", stream.isForced},
                 {"language", OrNull(stream.language)},
                 {"title", OrNull(stream.title)}};
    if (stream.video && stream.kind == "video")
        json["video"] = VideoJson(*stream.video);
    else if (stream.video)
        json["picture"] = {{"width", stream.video->stored.width}, {"height", stream.video->stored.height}};
    if (stream.audio)
        json["audio"] = {{"sampleRate", stream.audio->sampleRate},
                         {"channels", stream.audio->channels},
                         {"layout", OrNull(stream.audio->layout)},
                         {"sampleFormat", OrNull(stream.audio->samples)}};
    return json;
}

} // namespace

Json ProbeJson(const InputFacts& facts)
{
    Json json = {{"schema", "encmgr.probe"},
                 {"schemaVersion", kSchemaVersion},
                 {"input", facts.name},
                 {"format", facts.format},
                 {"formatName", OrNull(facts.formatName)},
                 {"duration", facts.duration ? Json(InSeconds(facts.duration)) : Json()},
                 {"isDurationStated", facts.duration != 0 && facts.isDurationStated},
                 {"start", InSeconds(facts.start)},
                 {"size", OrNull(facts.size)},
                 {"bitRate", OrNull(facts.bitRate)},
                 {"tags", Json::object()},
                 {"streams", Json::array()},
                 {"chapters", Json::array()}};
    for (const auto& [key, value] : facts.tags)
        json["tags"][key] = value;
    for (const StreamFacts& stream : facts.streams)
        json["streams"].push_back(StreamJson(stream));
    for (const ChapterFacts& chapter : facts.chapters)
        json["chapters"].push_back(
            {{"start", InSeconds(chapter.start)}, {"end", InSeconds(chapter.end)}, {"title", OrNull(chapter.title)}});
    return json;
}

} // namespace host
