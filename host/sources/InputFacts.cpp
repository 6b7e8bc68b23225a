#include "host/sources/InputFacts.h"

#include "host/base/Messages.h"
#include "host/sources/Container.h"
#include "host/sources/StampProbe.h"
#include "host/sources/TestCard.h"

#include <algorithm>
#include <map>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/pixdesc.h>
}

namespace host
{

namespace
{

std::string Named(const char* name)
{
    return name ? name : "";
}

std::string TagOf(const AVDictionary* tags, const char* key)
{
    const AVDictionaryEntry* const entry = av_dict_get(tags, key, nullptr, 0);
    return entry ? entry->value : "";
}

std::string KindOf(const AVStream& stream)
{
    if (stream.disposition & AV_DISPOSITION_ATTACHED_PIC)
        return "cover";
    switch (stream.codecpar->codec_type) {
    case AVMEDIA_TYPE_VIDEO:
        return "video";
    case AVMEDIA_TYPE_AUDIO:
        return "audio";
    case AVMEDIA_TYPE_SUBTITLE:
        return "subtitles";
    case AVMEDIA_TYPE_DATA:
        return "data";
    case AVMEDIA_TYPE_ATTACHMENT:
        return "attachment";
    default:
        return "unknown";
    }
}

void NameColour(VideoFacts& facts)
{
    const auto& [matrix, primaries, transfer] = facts.stored.colour;
    facts.matrix = Named(av_color_space_name(static_cast<AVColorSpace>(matrix)));
    if (primaries)
        facts.primaries = Named(av_color_primaries_name(static_cast<AVColorPrimaries>(primaries)));
    if (transfer)
        facts.transfer = Named(av_color_transfer_name(static_cast<AVColorTransferCharacteristic>(transfer)));
}

// The rate is left to be found.
VideoFacts VideoOf(AVFormatContext& container, AVStream& stream)
{
    const AVCodecParameters& par = *stream.codecpar;
    const AVRational aspect = av_guess_sample_aspect_ratio(&container, &stream, nullptr);
    VideoFacts facts;
    facts.stored = {par.width,     par.height,      StatedRateOf(stream), IsUsable(aspect) ? aspect : AVRational{1, 1},
                    ColourOf(par), FieldsOf(stream)};
    facts.turn = TurnOf(stream);
    if (IsUsable(stream.avg_frame_rate) || IsUsable(stream.r_frame_rate))
        facts.statedRate = StatedRateOf(stream);
    const auto format = static_cast<AVPixelFormat>(par.format);
    facts.pixels = Named(av_get_pix_fmt_name(format));
    const AVPixFmtDescriptor* const pixels = av_pix_fmt_desc_get(format);
    for (int i = 0; pixels && i < pixels->nb_components; ++i)
        facts.bits = std::max(facts.bits, pixels->comp[i].depth);
    const bool isRgb = pixels && (pixels->flags & AV_PIX_FMT_FLAG_RGB);
    facts.isFullRange = isRgb || StoredNumber(par.color_range) == AVCOL_RANGE_JPEG;
    facts.isMatrixStated = !isRgb && StoredNumber(par.color_space) == facts.stored.colour.matrix;
    NameColour(facts);
    return facts;
}

AudioFacts AudioOf(const AVCodecParameters& par)
{
    char layout[128] = {};
    av_channel_layout_describe(&par.ch_layout, layout, sizeof(layout));
    return {par.sample_rate, par.ch_layout.nb_channels, layout,
            Named(av_get_sample_fmt_name(static_cast<AVSampleFormat>(par.format)))};
}

StreamFacts StreamOf(AVFormatContext& container, AVStream& stream)
{
    const AVCodecParameters& par = *stream.codecpar;
    StreamFacts facts;
    facts.index = stream.index;
    facts.kind = KindOf(stream);
    facts.codec = avcodec_get_name(par.codec_id);
    facts.profile = Named(avcodec_profile_name(par.codec_id, par.profile));
    facts.bitRate = std::max<int64_t>(par.bit_rate, 0);
    facts.isDecodable = avcodec_find_decoder(par.codec_id) != nullptr;
    facts.isDefault = (stream.disposition & AV_DISPOSITION_DEFAULT) != 0;
    facts.isForced = (stream.disposition & AV_DISPOSITION_FORCED) != 0;
    facts.language = TagOf(stream.metadata, "language");
    if (facts.language == "und")
        facts.language.clear();
    facts.title = TagOf(stream.metadata, facts.kind == "attachment" ? "filename" : "title");
    if (par.codec_type == AVMEDIA_TYPE_VIDEO)
        facts.video = VideoOf(container, stream);
    if (par.codec_type == AVMEDIA_TYPE_AUDIO)
        facts.audio = AudioOf(par);
    return facts;
}

bool HasPictures(const StreamFacts& stream)
{
    return stream.kind == "video" && stream.video->stored.width > 0 && stream.video->stored.height > 0;
}

// The first stamps of all video streams of what can be read but once.
std::map<int, std::vector<Nanoseconds>> FirstStamps(AVFormatContext& container, const InputFacts& facts)
{
    std::map<int, StampProbe> probes;
    for (const StreamFacts& stream : facts.streams)
        if (HasPictures(stream))
            probes.emplace(stream.index, StampProbe(container.streams[stream.index]->time_base));
    const auto isDone = [](const auto& probe) { return probe.second.Count() >= kPicturesAhead; };
    const LibavOwned<AVPacket> packet(av_packet_alloc());
    for (int64_t bytes = 0; packet && bytes < kBytesAhead && !std::all_of(probes.begin(), probes.end(), isDone);
         bytes += packet->size) {
        av_packet_unref(packet.get());
        if (av_read_frame(&container, packet.get()) < 0)
            break;
        if (const auto probe = probes.find(packet->stream_index); probe != probes.end() && !isDone(*probe))
            probe->second.Add(*packet);
    }
    std::map<int, std::vector<Nanoseconds>> stamps;
    for (auto& [index, probe] : probes)
        stamps[index] = probe.Take();
    return stamps;
}

void FindRates(const std::string& address, AVFormatContext& container, InputFacts& facts, Messages& messages)
{
    const bool isFile = IsPlainFile(address);
    auto ahead = isFile ? std::map<int, std::vector<Nanoseconds>>() : FirstStamps(container, facts);
    for (StreamFacts& stream : facts.streams) {
        if (!HasPictures(stream))
            continue;
        const auto stamps =
            isFile ? StampsOfFile(address, facts.name, stream.index, messages) : std::move(ahead[stream.index]);
        const VideoRate rate = RateOf(*container.streams[stream.index], stamps);
        stream.video->stored.frameRate = rate.stamps.rate;
        stream.video->rateKind = rate.kind;
    }
}

void AddContainer(const AVFormatContext& container, InputFacts& facts)
{
    facts.format = container.iformat->name;
    facts.formatName = Named(container.iformat->long_name);
    if (container.duration > 0 && container.duration < kFarthestStamp / 1000)
        facts.duration = container.duration * 1000;
    facts.isDurationStated = container.duration_estimation_method != AVFMT_DURATION_FROM_BITRATE;
    if (container.start_time != AV_NOPTS_VALUE && std::abs(container.start_time) < kFarthestStamp / 1000)
        facts.start = container.start_time * 1000;
    facts.size = container.pb ? std::max<int64_t>(avio_size(container.pb), 0) : 0;
    facts.bitRate = std::max<int64_t>(container.bit_rate, 0);
    for (const AVDictionaryEntry* tag = nullptr;
         (tag = av_dict_get(container.metadata, "", tag, AV_DICT_IGNORE_SUFFIX)) != nullptr;)
        facts.tags.emplace_back(tag->key, tag->value);
    for (unsigned i = 0; i < container.nb_chapters; ++i) {
        const AVChapter& chapter = *container.chapters[i];
        facts.chapters.push_back({ToNanoseconds(chapter.start, chapter.time_base),
                                  ToNanoseconds(chapter.end, chapter.time_base), TagOf(chapter.metadata, "title")});
    }
}

InputFacts FactsOfCard(const std::string& name)
{
    const TestCard card(ParseTestCard(name), {true, true});
    InputFacts facts;
    facts.name = name;
    facts.format = "testcard";
    facts.formatName = "Generated test card";
    facts.duration = card.Duration();
    const auto add = [&facts](const char* kind, const char* codec) -> StreamFacts& {
        StreamFacts stream;
        stream.index = static_cast<int>(facts.streams.size());
        stream.kind = kind;
        stream.codec = codec;
        stream.isUsed = stream.isDecodable = stream.isDefault = true;
        return facts.streams.emplace_back(stream);
    };
    if (card.Video()) {
        VideoFacts& video = add("video", "rawvideo").video.emplace();
        video.stored = *card.Video();
        video.rateKind = RateKind::kSteady;
        video.statedRate = video.stored.frameRate;
        video.pixels = "yuv420p";
        video.bits = 8;
        video.isMatrixStated = true;
        NameColour(video);
    }
    if (card.Audio())
        add("audio", "pcm_s16le").audio = AudioFacts{card.Audio()->sampleRate, card.Audio()->channels,
                                                     card.Audio()->channels == 1 ? "mono" : "stereo", "s16"};
    return facts;
}

} // namespace

VideoFormat VideoFacts::Shown() const
{
    VideoFormat shown = stored;
    if (turn.isSideways) {
        std::swap(shown.width, shown.height);
        std::swap(shown.pixelAspect.num, shown.pixelAspect.den);
    }
    return shown;
}

InputFacts FactsOf(const std::string& name, Messages& messages)
{
    if (name.starts_with("testcard:"))
        return FactsOfCard(name);
    const std::string address = AddressOf(name);
    InputFacts facts;
    facts.name = ShownName(name);
    const auto container = OpenContainer(address, facts.name, messages);
    AddContainer(*container, facts);
    const int video = BestVideo(*container);
    const int audio = BestAudio(*container, video);
    for (unsigned i = 0; i < container->nb_streams; ++i) {
        StreamFacts& stream = facts.streams.emplace_back(StreamOf(*container, *container->streams[i]));
        stream.isUsed = stream.index == video || stream.index == audio;
    }
    FindRates(address, *container, facts, messages);
    return facts;
}

} // namespace host
