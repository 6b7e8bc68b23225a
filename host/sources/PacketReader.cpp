#include "host/sources/PacketReader.h"

#include "host/sources/Container.h"
#include "host/sources/StampProbe.h"

#include <new>
#include <utility>

namespace host
{

namespace
{

// What is read ahead of what can't be read twice, to see how its time stamps stand.
constexpr size_t kPicturesAhead = 100;
constexpr int64_t kBytesAhead = 32 << 20;

} // namespace

PacketReader::PacketReader(const std::string& name, Messages& messages)
    : m_address(AddressOf(name)), m_name(ShownName(name)), m_messages(messages),
      m_container(OpenContainer(m_address, m_name, messages))
{
}

std::vector<Nanoseconds> PacketReader::StampsOf(int stream)
{
    return IsPlainFile(m_address) ? StampsOfFile(m_address, m_name, stream, m_messages) : ReadAhead(stream);
}

std::vector<Nanoseconds> PacketReader::ReadAhead(int stream)
{
    StampProbe probe(m_container->streams[stream]->time_base);
    for (int64_t bytes = 0; probe.Count() < kPicturesAhead && bytes < kBytesAhead; bytes += m_ahead.back()->size) {
        LibavOwned<AVPacket> packet(av_packet_alloc());
        if (!packet)
            throw std::bad_alloc();
        m_readAhead = av_read_frame(m_container.get(), packet.get());
        if (m_readAhead < 0)
            break;
        if (packet->stream_index == stream)
            probe.Add(*packet);
        m_ahead.push_back(std::move(packet));
    }
    return probe.Take();
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
