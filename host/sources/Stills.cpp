#include "host/sources/Stills.h"

#include "Common/Image/ImageConvert.h"
#include "host/base/ExitCode.h"
#include "host/base/Interrupt.h"
#include "host/base/Values.h"
#include "host/sources/Container.h"
#include "host/sources/PictureConverter.h"
#include "host/sources/PictureFilter.h"
#include "host/sources/StreamInfo.h"

#include <algorithm>
#include <utility>

namespace host
{

namespace
{

constexpr int kMatrixOfToolbox = 6; // BT.601, in the code points of ISO/IEC 23091-2

// A test card is painted from its start on.
constexpr Nanoseconds kLongestCard = 600 * kSecond;

// Bytes of a file that is read for what its streams weigh.
constexpr int64_t kLargestWeighed = 4'000'000'000;

PictureSize SizeWithin(int longestSide, const AVFrame& frame, AVRational aspect)
{
    const double width = frame.width * (IsUsable(aspect) ? av_q2d(aspect) : 1.0);
    const double scale = longestSide / std::max(width, static_cast<double>(frame.height));
    const auto even = [longestSide](double side) {
        return std::clamp(2 * static_cast<int>(side / 2.0 + 0.5), 2, longestSide);
    };
    return {even(width * scale), even(frame.height * scale)};
}

// Null if that can't be done.
std::shared_ptr<const AVFrame> Turned(const std::shared_ptr<const AVFrame>& picture, const std::string& filter)
{
    if (filter.empty())
        return picture;
    PictureFilter turning(filter, picture->width, picture->height);
    turning.Put({Item::Kind::kPicture, 0, 0, picture, {}});
    turning.Put({});
    const auto turned = turning.Take();
    return turned ? turned->frame : nullptr;
}

std::optional<Bitmap> BitmapOf(const std::shared_ptr<const AVFrame>& frame, AVRational aspect, const Turn& turn,
                               int longestSide)
{
    const PictureSize size = SizeWithin(longestSide, *frame, aspect);
    // The scaler of the conversion takes in all pixels of a large reduction.
    PictureConverter converter(size.width, size.height, kMatrixOfToolbox);
    auto picture = converter.Convert(frame);
    if (picture)
        picture = Turned(picture, turn.filter);
    if (!picture)
        return std::nullopt;
    Bitmap bitmap(picture->width, picture->height);
    tagBITMAPINFOHEADER header = bitmap.Header();
    Yuv420_2_rgb32(&header, bitmap.bytes.data(), picture->data[0], picture->data[1], picture->data[2],
                   picture->linesize[0], picture->linesize[1], picture->linesize[2]);
    for (size_t i = 3; i < bitmap.bytes.size(); i += 4)
        bitmap.bytes[i] = 255;
    return bitmap;
}

// The pictures of a file at times that rise.
class StillReader
{
public:
    StillReader(const std::string& name, Messages& messages)
        : m_container(OpenContainer(AddressOf(name), name, messages)), m_packet(av_packet_alloc())
    {
        const int index = BestVideo(*m_container);
        if (index < 0)
            return;
        m_stream = m_container->streams[index];
        for (unsigned int i = 0; i < m_container->nb_streams; ++i)
            if (static_cast<int>(i) != index)
                m_container->streams[i]->discard = AVDISCARD_ALL;
        const AVCodec* codec = avcodec_find_decoder(m_stream->codecpar->codec_id);
        m_decoder.reset(avcodec_alloc_context3(codec));
        m_decoder->thread_count = 0;
        if (!codec || avcodec_parameters_to_context(m_decoder.get(), m_stream->codecpar) < 0 ||
            avcodec_open2(m_decoder.get(), codec, nullptr) < 0)
            m_stream = nullptr;
    }

    // The last picture that begins no later, or the first one. Null if there is none.
    std::shared_ptr<const AVFrame> At(Nanoseconds time)
    {
        if (!m_stream)
            return nullptr;
        const int64_t start = m_container->start_time == AV_NOPTS_VALUE ? 0 : m_container->start_time;
        const int64_t target = av_rescale_q(time / 1000 + start, av_get_time_base_q(), m_stream->time_base);
        // Without a place to go to, decoding goes on from where it is.
        if (av_seek_frame(m_container.get(), m_stream->index, target, AVSEEK_FLAG_BACKWARD) >= 0) {
            avcodec_flush_buffers(m_decoder.get());
            m_ahead = nullptr;
        }
        std::shared_ptr<const AVFrame> shown;
        while (auto frame = m_ahead ? std::exchange(m_ahead, nullptr) : Decode()) {
            if (shown && frame->best_effort_timestamp > target) {
                m_ahead = frame;
                break;
            }
            shown = frame;
            if (frame->best_effort_timestamp >= target)
                break;
        }
        return shown;
    }

    AVRational Aspect(const AVFrame& frame)
    {
        // Not changed, but the function is older than const.
        return av_guess_sample_aspect_ratio(m_container.get(), m_stream, const_cast<AVFrame*>(&frame));
    }
    Turn GetTurn() const { return m_stream ? TurnOf(*m_stream) : Turn(); }

private:
    // The next picture; null behind the last and after an interrupt. Errors leave pictures out.
    std::shared_ptr<const AVFrame> Decode()
    {
        const auto frame = NewFrame();
        while (!InterruptSignal()) {
            const int result = avcodec_receive_frame(m_decoder.get(), frame.get());
            if (result >= 0)
                return frame;
            if (result == AVERROR_EOF)
                return nullptr;
            const bool isRead = av_read_frame(m_container.get(), m_packet.get()) >= 0;
            if (!isRead || m_packet->stream_index == m_stream->index)
                avcodec_send_packet(m_decoder.get(), isRead ? m_packet.get() : nullptr);
            av_packet_unref(m_packet.get());
        }
        return nullptr;
    }

    LibavOwned<AVFormatContext> m_container;
    LibavOwned<AVPacket> m_packet;
    LibavOwned<AVCodecContext> m_decoder;
    AVStream* m_stream = nullptr; // null: nothing to show
    std::shared_ptr<const AVFrame> m_ahead;
};

std::vector<Bitmap> StillsOfFile(const std::string& name, std::span<const Nanoseconds> times, int longestSide,
                                 Messages& messages)
{
    std::vector<Bitmap> stills;
    StillReader reader(name, messages);
    const Turn turn = reader.GetTurn();
    for (const Nanoseconds time : times) {
        const auto frame = reader.At(time);
        auto still = frame ? BitmapOf(frame, reader.Aspect(*frame), turn, longestSide) : std::nullopt;
        if (!still)
            break;
        stills.push_back(std::move(*still));
    }
    return stills;
}

std::vector<Bitmap> StillsOfCard(const std::string& name, std::span<const Nanoseconds> times, int longestSide,
                                 Messages& messages)
{
    std::vector<Bitmap> stills;
    const auto source = OpenSource(name, {true, false}, messages);
    if (!source->Video())
        return stills;
    Item picture = source->Next();
    for (const Nanoseconds time : times) {
        while (picture.frame && picture.time + picture.duration <= time && !InterruptSignal())
            picture = source->Next();
        if (!picture.frame)
            break;
        if (auto still = BitmapOf(picture.frame, source->Video()->pixelAspect, {}, longestSide))
            stills.push_back(std::move(*still));
    }
    return stills;
}

} // namespace

std::vector<Bitmap> StillsOf(const std::string& name, std::span<const Nanoseconds> times, int longestSide,
                             Messages& messages)
{
    try {
        if (IsPlainFile(AddressOf(name)))
            return StillsOfFile(name, times, longestSide, messages);
        if (name.starts_with("testcard:") && (times.empty() || times.back() <= kLongestCard))
            return StillsOfCard(name, times, longestSide, messages);
    } catch (const HostError& error) {
        messages.Detail(error.what());
    }
    return {};
}

StreamBytes BytesAlong(const std::string& name, double bucketSeconds, size_t buckets, Messages& messages)
{
    if (!IsPlainFile(AddressOf(name)) || !(bucketSeconds > 0.0) || buckets == 0)
        return {};
    try {
        const auto container = OpenContainer(AddressOf(name), name, messages);
        if (avio_size(container->pb) > kLargestWeighed)
            return {};
        const int64_t start = container->start_time == AV_NOPTS_VALUE ? 0 : container->start_time;
        StreamBytes bytes = {std::vector<int64_t>(buckets), std::vector<int64_t>(buckets)};
        const LibavOwned<AVPacket> packet(av_packet_alloc());
        double seconds = 0.0; // of the last packet that had a time
        for (; av_read_frame(container.get(), packet.get()) >= 0; av_packet_unref(packet.get())) {
            const AVStream& stream = *container->streams[packet->stream_index];
            const int64_t stamp = packet->pts == AV_NOPTS_VALUE ? packet->dts : packet->pts;
            if (stamp != AV_NOPTS_VALUE)
                seconds = static_cast<double>(stamp) * av_q2d(stream.time_base) - static_cast<double>(start) / 1e6;
            const double bucket = std::clamp(seconds / bucketSeconds, 0.0, static_cast<double>(buckets - 1));
            const AVMediaType type = stream.codecpar->codec_type;
            if (type == AVMEDIA_TYPE_VIDEO || type == AVMEDIA_TYPE_AUDIO)
                (type == AVMEDIA_TYPE_VIDEO ? bytes.video : bytes.audio)[static_cast<size_t>(bucket)] += packet->size;
        }
        return bytes;
    } catch (const HostError& error) {
        messages.Detail(error.what());
        return {};
    }
}

} // namespace host
