#include "plugins/av/Metadata.h"

#include "encmgr/Log.h"

#include <algorithm>
#include <cstring>
#include <utility>

extern "C" {
#include <libavutil/base64.h>
#include <libavutil/mem.h>
}

namespace
{

constexpr const char* kMetadata = "metadata";
constexpr const char* kCover = "cover";

enum class CoverPlace { kNone, kStream, kAttachment };

// What the muxers of libavformat have a place for.
struct Places {
    const char* muxer;
    bool tags;
    bool chapters;
    CoverPlace cover;
};
constexpr Places s_places[] = {
    {"mp4", true, true, CoverPlace::kStream},   {"ipod", true, true, CoverPlace::kStream},
    {"mov", true, true, CoverPlace::kNone},     {"matroska", true, true, CoverPlace::kAttachment},
    {"webm", true, true, CoverPlace::kNone},    {"avi", true, false, CoverPlace::kNone},
    {"mpegts", true, false, CoverPlace::kNone}, {"ogg", true, false, CoverPlace::kNone},
    {"flac", true, false, CoverPlace::kStream}, {"mp3", true, true, CoverPlace::kStream},
};

Places PlacesOf(const AVFormatContext& format)
{
    for (const Places& places : s_places)
        if (std::strcmp(places.muxer, format.oformat->name) == 0)
            return places;
    return {};
}

void LogMissing(const AVFormatContext& format, const wchar_t* what)
{
    KXLogEx(L"wpav: %s has no place for the %ls.", format.oformat->name, what);
}

// ---- reading of the text ----

struct Text {
    const char* next;
    size_t left;
};

int ReadText(void* opaque, uint8_t* buffer, int size)
{
    auto& text = *static_cast<Text*>(opaque);
    const size_t count = std::min(text.left, static_cast<size_t>(size));
    if (count == 0)
        return AVERROR_EOF;
    std::memcpy(buffer, text.next, count);
    text.next += count;
    text.left -= count;
    return static_cast<int>(count);
}

struct InputFree {
    void operator()(AVFormatContext* input) const { avformat_close_input(&input); } // leaves a caller's reader alone
    void operator()(AVIOContext* reader) const
    {
        av_freep(&reader->buffer);
        avio_context_free(&reader);
    }
};

// A context takes the chapters over; libavformat has no function to make or copy them.
void MoveChapters(AVFormatContext& to, AVFormatContext& from)
{
    std::swap(to.chapters, from.chapters);
    std::swap(to.nb_chapters, from.nb_chapters);
}

int SetText(AVFormatContext& format, AVStream& stream, const std::string& value)
{
    constexpr int kBufferSize = 4096;
    Text text = {value.data(), value.size()};
    auto* const buffer = static_cast<uint8_t*>(av_malloc(kBufferSize));
    const std::unique_ptr<AVIOContext, InputFree> reader(
        buffer ? avio_alloc_context(buffer, kBufferSize, 0, &text, ReadText, nullptr, nullptr) : nullptr);
    AVFormatContext* context = reader ? avformat_alloc_context() : nullptr;
    if (!context)
        return AVERROR(ENOMEM);
    context->pb = reader.get();
    const int result = avformat_open_input(&context, "", av_find_input_format("ffmetadata"), nullptr);
    if (result < 0) // the context is gone by now
        return result;
    const std::unique_ptr<AVFormatContext, InputFree> read(context);

    const Places places = PlacesOf(format);
    const AVDictionary* const own = read->nb_streams ? read->streams[0]->metadata : nullptr;
    if (places.tags) {
        av_dict_copy(&format.metadata, read->metadata, 0);
        av_dict_copy(&stream.metadata, own, 0);
    } else if (av_dict_count(read->metadata) + av_dict_count(own) > 0) {
        LogMissing(format, L"titles");
    }
    if (read->nb_chapters && !places.chapters)
        LogMissing(format, L"chapters");
    else if (read->nb_chapters && !format.nb_chapters)
        MoveChapters(format, *read);
    return 0;
}

// ---- covers ----

struct ParametersFree {
    void operator()(AVCodecParameters* parameters) const { avcodec_parameters_free(&parameters); }
};

const char* MimeTypeOf(AVCodecID codec)
{
    switch (codec) {
    case AV_CODEC_ID_MJPEG:
        return "image/jpeg";
    case AV_CODEC_ID_PNG:
        return "image/png";
    default:
        return nullptr; // of no use to players
    }
}

// What the picture's own header says; file formats ask for its size. Negative if it is none that can be decoded.
int Examine(AVCodecParameters& parameters, const AVPacket& picture)
{
    const AVCodec* const codec = avcodec_find_decoder(parameters.codec_id);
    const CodecContextPtr context(codec ? avcodec_alloc_context3(codec) : nullptr);
    const FramePtr frame(av_frame_alloc());
    if (!context || !frame)
        return codec ? AVERROR(ENOMEM) : AVERROR_DECODER_NOT_FOUND;
    int result = avcodec_open2(context.get(), codec, nullptr);
    if (result >= 0)
        result = avcodec_send_packet(context.get(), &picture);
    if (result >= 0)
        result = avcodec_receive_frame(context.get(), frame.get());
    return result >= 0 ? avcodec_parameters_from_context(&parameters, context.get()) : result;
}

int AddAttachment(AVStream& stream, const AVPacket& picture)
{
    AVCodecParameters& parameters = *stream.codecpar;
    const bool isPng = parameters.codec_id == AV_CODEC_ID_PNG;
    av_freep(&parameters.extradata);
    av_dict_set(&stream.metadata, "filename", isPng ? "cover.png" : "cover.jpg", 0);
    av_dict_set(&stream.metadata, "mimetype", MimeTypeOf(parameters.codec_id), 0);
    parameters.codec_type = AVMEDIA_TYPE_ATTACHMENT;
    parameters.extradata =
        static_cast<uint8_t*>(av_mallocz(static_cast<size_t>(picture.size) + AV_INPUT_BUFFER_PADDING_SIZE));
    if (!parameters.extradata)
        return AVERROR(ENOMEM);
    std::copy_n(picture.data, picture.size, parameters.extradata);
    parameters.extradata_size = picture.size;
    return 0;
}

// The stream keeps the picture until WriteCovers.
int AddPicture(AVStream& stream, const AVPacket& picture)
{
    stream.disposition = AV_DISPOSITION_ATTACHED_PIC;
    av_dict_set(&stream.metadata, "comment", "Cover (front)", 0); // a word that ID3 and FLAC know
    stream.time_base = {1, 90000};
    const int result = av_packet_ref(&stream.attached_pic, &picture);
    stream.attached_pic.flags |= AV_PKT_FLAG_KEY;
    stream.attached_pic.stream_index = stream.index;
    stream.attached_pic.pts = stream.attached_pic.dts = 0;
    return result;
}

// Null for a text that is none.
PacketPtr PictureOf(const std::string& base64)
{
    const int most = AV_BASE64_DECODE_SIZE(static_cast<int>(base64.size()));
    PacketPtr picture(av_packet_alloc());
    if (!picture || most <= 0 || av_new_packet(picture.get(), most) < 0)
        return nullptr;
    const int size = av_base64_decode(picture->data, base64.c_str(), most);
    if (size <= 0)
        return nullptr;
    av_shrink_packet(picture.get(), size);
    return picture;
}

int AddCover(AVFormatContext& format, const std::string& value)
{
    const size_t comma = value.find(',');
    const PacketPtr picture = comma == std::string::npos ? nullptr : PictureOf(value.substr(comma + 1));
    if (!picture)
        return AVERROR_INVALIDDATA;
    const AVCodecDescriptor* const codec = avcodec_descriptor_get_by_name(value.substr(0, comma).c_str());
    const CoverPlace place = PlacesOf(format).cover;
    if (!codec || !MimeTypeOf(codec->id) || place == CoverPlace::kNone) {
        LogMissing(format, L"cover");
        return 0;
    }
    const std::unique_ptr<AVCodecParameters, ParametersFree> parameters(avcodec_parameters_alloc());
    if (!parameters)
        return AVERROR(ENOMEM);
    parameters->codec_id = codec->id;
    const int examined = Examine(*parameters, *picture);
    if (examined < 0) {
        KXLogEx(L"wpav: the cover is left out: %s.", ErrorText(examined).c_str());
        return 0;
    }
    AVStream* const stream = avformat_new_stream(&format, nullptr);
    if (!stream || avcodec_parameters_copy(stream->codecpar, parameters.get()) < 0)
        return AVERROR(ENOMEM);
    return place == CoverPlace::kAttachment ? AddAttachment(*stream, *picture) : AddPicture(*stream, *picture);
}

} // namespace

bool IsMetadata(const Option& option)
{
    return option.key == kMetadata || option.key == kCover;
}

int SetMetadata(AVFormatContext& format, AVStream& stream, const Option& option)
{
    const int result = option.key == kCover ? AddCover(format, option.value) : SetText(format, stream, option.value);
    if (result < 0)
        KXLogEx(L"wpav: the option [%s] can't be read: %s.", option.key.c_str(), ErrorText(result).c_str());
    return result;
}

int WriteCovers(AVFormatContext& format)
{
    int result = 0;
    for (unsigned i = 0; i < format.nb_streams && result >= 0; ++i) {
        const AVPacket& picture = format.streams[i]->attached_pic;
        if (!picture.data)
            continue;
        const PacketPtr packet(av_packet_clone(&picture));
        result = packet ? av_interleaved_write_frame(&format, packet.get()) : AVERROR(ENOMEM);
    }
    return result;
}
