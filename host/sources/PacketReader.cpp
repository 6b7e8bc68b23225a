#include "host/sources/PacketReader.h"

#include "host/sources/Container.h"
#include "host/sources/Decoder.h"
#include "host/sources/StampProbe.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace host
{

namespace
{

// How far before a time packets are to go on: decoders of audio need some run-up. The further ones are tried where the
// nearer ones miss.
constexpr Nanoseconds kRunUps[] = {kSecond / 2, 5 * kSecond, 30 * kSecond, 120 * kSecond};

// Formats whose stamps tell the time wherever one begins to read. The others count from the start or guess by bytes, or
// their clock jumps.
bool CanSkip(const AVInputFormat& format, const AVCodecParameters& stream)
{
    // AVI doesn't tell when reordered pictures are to be shown; only counting from the first one does.
    if (std::strcmp(format.name, "avi") == 0 && stream.video_delay > 0)
        return false;
    return !(format.flags & (AVFMT_NOTIMESTAMPS | AVFMT_GENERIC_INDEX | AVFMT_TS_DISCONT));
}

} // namespace

PacketReader::PacketReader(const std::string& name, Messages& messages)
    : m_address(AddressOf(name)), m_name(ShownName(name)), m_messages(messages),
      m_container(OpenContainer(m_address, m_name, messages, &m_isStopped))
{
}

void PacketReader::Use(std::vector<int> streams)
{
    m_used = std::move(streams);
    std::erase_if(m_used, [](int stream) { return stream < 0; });
    for (unsigned i = 0; i < m_container->nb_streams; ++i) {
        const bool isUsed = std::count(m_used.begin(), m_used.end(), static_cast<int>(i)) > 0;
        m_container->streams[i]->discard = isUsed ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
}

Nanoseconds PacketReader::SkipTo(Nanoseconds time, int stream)
{
    if (!IsPlainFile(m_address) || m_container->start_time == AV_NOPTS_VALUE ||
        !CanSkip(*m_container->iformat, *m_container->streams[stream]->codecpar))
        return 0;
    const Nanoseconds start = std::max<Nanoseconds>(m_container->start_time, 0) * 1000;
    bool isMoved = false;
    for (const Nanoseconds runUp : kRunUps) {
        const Nanoseconds target = start + time - runUp;
        if (target <= start)
            break;
        isMoved = true;
        const int64_t stamp = av_rescale_q(target, {1, 1'000'000'000}, m_container->streams[stream]->time_base);
        if (av_seek_frame(m_container.get(), stream, stamp, AVSEEK_FLAG_BACKWARD) < 0)
            break;
        if (const auto found = FindStartAhead(stream, target))
            return std::max<Nanoseconds>(*found - start, 0);
    }
    if (isMoved)
        Reopen();
    return 0;
}

// Reads up to the first packet of the leading stream that needs none before it, and leaves out those that do; then
// until the decoder gives a frame, since some streams need many packets to build up their first whole picture. The
// other stream has to have come by then, too: files may hold their streams at some distance from each other. Returns
// the frame's stamp; nothing if one of the two begins behind the target.
std::optional<Nanoseconds> PacketReader::FindStartAhead(int leading, Nanoseconds target)
{
    m_ahead.clear();
    m_readAhead = 0;
    const AVRational timeBase = m_container->streams[leading]->time_base;
    const auto decoder = OpenDecoder(*m_container->streams[leading], m_name, "--start");
    const auto frame = NewFrame();
    bool isBegun = false, isDecoded = false, isOtherThere = m_used.size() == 1;
    for (int64_t bytes = 0; bytes < kBytesAhead && !(isDecoded && isOtherThere) && ReadOneAhead() >= 0;) {
        const AVPacket& packet = *m_ahead.back();
        bytes += packet.size;
        if (packet.stream_index != leading) {
            const AVRational otherBase = m_container->streams[packet.stream_index]->time_base;
            if (!isOtherThere && ToNanoseconds(packet.pts, otherBase) > target)
                return std::nullopt;
            isOtherThere = true;
            continue;
        }
        isBegun = isBegun || packet.flags & AV_PKT_FLAG_KEY;
        if (!isBegun) {
            m_ahead.pop_back();
            continue;
        }
        if (!isDecoded && avcodec_send_packet(decoder.get(), &packet) >= 0)
            isDecoded = avcodec_receive_frame(decoder.get(), frame.get()) >= 0;
    }
    if (!isDecoded && avcodec_send_packet(decoder.get(), nullptr) >= 0) // at the end of the file
        isDecoded = avcodec_receive_frame(decoder.get(), frame.get()) >= 0;
    const Nanoseconds first = ToNanoseconds(frame->best_effort_timestamp, timeBase);
    return isDecoded && isOtherThere && first <= target ? std::optional(first) : std::nullopt;
}

void PacketReader::Reopen()
{
    m_ahead.clear();
    m_readAhead = 0;
    m_container = OpenContainer(m_address, m_name, m_messages, &m_isStopped);
    Use(m_used);
}

std::vector<Nanoseconds> PacketReader::StampsOf(int stream)
{
    return IsPlainFile(m_address) ? StampsOfFile(m_address, m_name, stream, m_messages) : ReadAhead(stream);
}

std::vector<Nanoseconds> PacketReader::ReadAhead(int stream)
{
    StampProbe probe(m_container->streams[stream]->time_base);
    for (int64_t bytes = 0; probe.Count() < kPicturesAhead && bytes < kBytesAhead; bytes += m_ahead.back()->size) {
        if (ReadOneAhead() < 0)
            break;
        if (m_ahead.back()->stream_index == stream)
            probe.Add(*m_ahead.back());
    }
    return probe.Take();
}

int PacketReader::ReadOneAhead()
{
    LibavOwned<AVPacket> packet(av_packet_alloc());
    if (!packet)
        throw std::bad_alloc();
    m_readAhead = av_read_frame(m_container.get(), packet.get());
    if (m_readAhead >= 0)
        m_ahead.push_back(std::move(packet));
    return m_readAhead;
}

int PacketReader::Next(AVPacket& packet)
{
    if (m_ahead.empty())
        return m_readAhead < 0 ? std::exchange(m_readAhead, 0) : av_read_frame(m_container.get(), &packet);
    av_packet_move_ref(&packet, m_ahead.front().get());
    m_ahead.pop_front();
    return 0;
}

} // namespace host
