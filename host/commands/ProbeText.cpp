#include "host/base/Text.h"
#include "host/commands/Probe.h"

#include <cmath>

namespace host
{

namespace
{

// What a file says of itself, on one line and without the codes by which terminals are driven.
std::string OneLine(const std::string& text)
{
    std::string line;
    for (size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
        const bool isC1 = byte == 0xC2 && next >= 0x80 && next < 0xA0; // the control codes beyond ASCII, in UTF-8
        line += byte < 0x20 || byte == 0x7F || isC1 ? ' ' : text[i];
        i += isC1 ? 1 : 0;
    }
    return line;
}

// What a container says of itself rather than of what it holds.
bool IsTechnical(const std::string& key)
{
    return key == "major_brand" || key == "minor_version" || key == "compatible_brands";
}

// Parts that have something to say, joined.
std::string Joined(std::initializer_list<std::string> parts)
{
    std::string text;
    for (const std::string& part : parts)
        text += part.empty() ? "" : (text.empty() ? "" : ", ") + part;
    return text;
}

// "1:02:03.500"; hours and minutes as far as there are any.
std::string TimeText(Nanoseconds time)
{
    const Nanoseconds ms = (std::llabs(time) + 500'000) / 1'000'000;
    const Nanoseconds seconds = ms / 1000;
    return Format("%s%s.%03d", time < 0 ? "-" : "", ClockText(static_cast<double>(seconds)).c_str(),
                  static_cast<int>(ms % 1000));
}

std::string RateText(AVRational rate)
{
    return rate.den == 1 ? Format("%d fps", rate.num) : Format("%.6g fps (%d/%d)", av_q2d(rate), rate.num, rate.den);
}

std::string RateText(const VideoFacts& video)
{
    const AVRational rate = video.stored.frameRate;
    switch (video.rateKind) {
    case RateKind::kStated:
        return video.statedRate.num ? RateText(rate) + " as stated" : "no rate stated, taken for " + RateText(rate);
    case RateKind::kSteady:
        return RateText(rate) + ", steady";
    case RateKind::kWavering:
        return RateText(rate) + ", wavering";
    case RateKind::kVariable:
        return "variable rate, taken for " + RateText(rate);
    }
    return {};
}

std::string TurnText(const VideoFacts& video)
{
    const Turn& turn = video.turn;
    if (std::fabs(turn.oddAngle) >= 1.0)
        return Format("to be turned %s by %.0f degrees, which encode leaves", turn.oddAngle > 0.0 ? "left" : "right",
                      std::fabs(turn.oddAngle));
    const VideoFormat shown = video.Shown();
    std::string text = turn.isMirrored ? "mirrored" : "";
    if (turn.clockwise == 180)
        text += std::string(text.empty() ? "" : " and ") + "upside down";
    else if (turn.clockwise)
        text +=
            Format("%sturned %s by 90 degrees", text.empty() ? "" : " and ", turn.clockwise == 90 ? "right" : "left");
    return text.empty() ? "" : Format("shown %s as %dx%d", text.c_str(), shown.width, shown.height);
}

std::string FieldsText(Fields fields)
{
    switch (fields) {
    case Fields::kNone:
        return "progressive";
    case Fields::kTopFirst:
        return "interlaced, top field first";
    case Fields::kBottomFirst:
        return "interlaced, bottom field first";
    default:
        return {};
    }
}

std::string ColourText(const VideoFacts& video)
{
    const auto named = [](const char* what, const std::string& name) {
        return name.empty() ? "" : std::string(what) + " " + name;
    };
    const char* const hdr = HdrTransferName(video.stored.colour);
    return Joined({video.pixels, video.bits ? Format("%d bits", video.bits) : "",
                   video.isFullRange ? "full range" : "limited range",
                   named("matrix", video.matrix) + (video.isMatrixStated ? "" : " (assumed)"),
                   named("primaries", video.primaries), named("transfer", video.transfer),
                   hdr ? Format("high dynamic range (%s)", hdr) : ""});
}

// What is said of a stream's pictures, line by line.
std::vector<std::string> VideoLines(const StreamFacts& stream)
{
    const VideoFacts& video = *stream.video;
    const std::string size = Format("%dx%d", video.stored.width, video.stored.height);
    if (stream.kind != "video")
        return {size};
    const AVRational aspect = video.stored.pixelAspect;
    const bool isSquare = aspect.num == aspect.den;
    return {Joined({size, RateText(video)}),
            Joined({TurnText(video), isSquare ? "square pixels" : Format("pixels %d:%d", aspect.num, aspect.den),
                    FieldsText(video.stored.fields)}),
            ColourText(video)};
}

std::string AudioLine(const AudioFacts& audio)
{
    const bool isNamed = audio.channels <= 2 && !audio.layout.empty();
    return Joined({Format("%d Hz", audio.sampleRate), isNamed ? "" : Format("%d channels", audio.channels),
                   audio.layout, audio.samples});
}

std::string StreamText(const StreamFacts& stream)
{
    std::vector<std::string> lines;
    if (stream.video)
        lines = VideoLines(stream);
    else
        lines = {stream.audio ? AudioLine(*stream.audio) : ""};
    const bool isMedia = stream.kind == "video" || stream.kind == "audio";
    const std::string codec = stream.codec + (stream.profile.empty() ? "" : " (" + stream.profile + ")");
    const std::string text = Joined(
        {codec, lines.front(), stream.bitRate ? Format("%.0f kbit/s", static_cast<double>(stream.bitRate) / 1e3) : "",
         OneLine(stream.language), stream.title.empty() ? "" : '"' + OneLine(stream.title) + '"',
         stream.isForced ? "forced" : "", isMedia && !stream.isDecodable ? "can't be decoded" : "",
         isMedia && !stream.isUsed ? "left out by encode" : ""});
    std::string all = Format("  %-2d %-10s  %s\n", stream.index, stream.kind.c_str(), text.c_str());
    for (size_t i = 1; i < lines.size(); ++i)
        all += Format("%*s%s\n", 17, "", lines[i].c_str());
    return all;
}

} // namespace

std::string ProbeText(const InputFacts& facts)
{
    const std::string duration = facts.duration ? TimeText(facts.duration) : "of unknown length";
    std::string text = facts.name + ": " +
                       Joined({facts.formatName.empty() ? facts.format : facts.formatName,
                               (facts.duration && !facts.isDurationStated ? "about " : "") + duration,
                               facts.start ? "starting at " + TimeText(facts.start) : "",
                               facts.size ? SizeText(static_cast<uint64_t>(facts.size)) : ""}) +
                       "\n";
    for (const auto& [key, value] : facts.tags)
        text += IsTechnical(key) ? "" : "  " + OneLine(key) + ": " + OneLine(value) + "\n";
    for (const StreamFacts& stream : facts.streams)
        text += StreamText(stream);
    if (facts.streams.empty())
        text += "  no streams\n";
    for (const ChapterFacts& chapter : facts.chapters)
        text += Format("  chapter %s - %s  %s\n", TimeText(chapter.start).c_str(), TimeText(chapter.end).c_str(),
                       OneLine(chapter.title).c_str());
    return text;
}

} // namespace host
