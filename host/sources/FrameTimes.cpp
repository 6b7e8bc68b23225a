#include "host/sources/FrameTimes.h"

namespace host
{

namespace
{

// Stamps further from the file's start than this are no times; the start itself may be the date of a broadcast.
constexpr Nanoseconds kFarthestTime = kFarthestStamp / 4;

bool IsWithin(Nanoseconds time, Nanoseconds limit)
{
    return time <= limit && time >= -limit;
}

// Nothing for a stamp that is none.
std::optional<Nanoseconds> TimeOf(int64_t stamp, AVRational timeBase)
{
    const Nanoseconds time = ToNanoseconds(stamp, timeBase);
    return stamp != AV_NOPTS_VALUE && IsWithin(time, kFarthestStamp) ? std::optional(time) : std::nullopt;
}

int64_t TagOf(const AVFrame& frame)
{
#ifdef AV_CODEC_FLAG_COPY_OPAQUE
    return reinterpret_cast<intptr_t>(frame.opaque);
#else
    return frame.reordered_opaque;
#endif
}

} // namespace

void FrameTimes::Prepare([[maybe_unused]] AVCodecContext& decoder)
{
#ifdef AV_CODEC_FLAG_COPY_OPAQUE
    decoder.flags |= AV_CODEC_FLAG_COPY_OPAQUE;
#endif
}

void FrameTimes::Tag(AVPacket& packet, [[maybe_unused]] AVCodecContext& decoder)
{
#ifdef AV_CODEC_FLAG_COPY_OPAQUE
    packet.opaque = reinterpret_cast<void*>(static_cast<intptr_t>(packet.dts));
#else
    decoder.reordered_opaque = packet.dts;
#endif
}

std::optional<Nanoseconds> FrameTimes::FirstOf(const AVStream& stream) const
{
    const auto first = TimeOf(stream.start_time, stream.time_base);
    return first ? std::optional(*first - m_start.value_or(0)) : std::nullopt;
}

// Pictures in mid-stream stand where they would if all before them had come. Audio goes by its stamps.
size_t FrameTimes::AddStream(const StampKind& kind, const AVStream& stream)
{
    m_streams.push_back({stream.time_base, std::nullopt});
    const bool isCounted = m_isMidway && stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
    return m_line.AddStream(kind, isCounted ? FirstOf(stream) : std::nullopt);
}

Nanoseconds FrameTimes::Place(size_t stream, const AVFrame& frame, int64_t units)
{
    return m_line.Place(stream, StampOf(m_streams[stream], frame), units);
}

// A container without presentation times tells when the packet was read that made the decoder give the frame. With
// reordered pictures that is later than they are to be shown, for all by as much as the first is behind its own packet.
// libavformat may still guess presentation times for some of them, those that aren't held back: they are late as well.
std::optional<Nanoseconds> FrameTimes::StampOf(Stream& stream, const AVFrame& frame)
{
    const auto stamp = TimeOf(frame.best_effort_timestamp, stream.timeBase);
    if (!stamp)
        return std::nullopt;
    if (!stream.delay) {
        const auto read = frame.pts == AV_NOPTS_VALUE ? TimeOf(TagOf(frame), stream.timeBase) : std::nullopt;
        stream.delay = *stamp - read.value_or(*stamp);
    }
    const Nanoseconds time = *stamp - *stream.delay;
    if (!m_start)
        m_start = time;
    return IsWithin(time - *m_start, kFarthestTime) ? std::optional(time - *m_start) : std::nullopt;
}

} // namespace host
