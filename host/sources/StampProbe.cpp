#include "host/sources/StampProbe.h"

#include "host/base/ExitCode.h"
#include "host/sources/Container.h"

#include <algorithm>
#include <functional>

namespace host
{

namespace
{

constexpr int64_t kMostBytes = 256 << 20;
constexpr size_t kMostStamps = 500'000;

} // namespace

void StampOrder::Add(Nanoseconds stamp)
{
    // A clock that falls back, as where recordings were joined, begins anew.
    if (!m_waiting.empty() && stamp < m_waiting.front() - kSecond)
        Release(0);
    m_waiting.push_back(stamp);
    std::push_heap(m_waiting.begin(), m_waiting.end(), std::greater<>());
    Release(kMostReordered);
}

void StampOrder::Release(size_t left)
{
    while (m_waiting.size() > left) {
        std::pop_heap(m_waiting.begin(), m_waiting.end(), std::greater<>());
        m_ordered.push_back(m_waiting.back());
        m_waiting.pop_back();
    }
}

std::vector<Nanoseconds> StampOrder::Take()
{
    Release(0);
    return std::move(m_ordered);
}

void StampProbe::Add(const AVPacket& packet)
{
    if (packet.size == 0 || (packet.flags & AV_PKT_FLAG_DISCARD) != 0)
        return;
    ++m_count;
    m_isPresented = m_isPresented && packet.pts != AV_NOPTS_VALUE;
    Add(packet.pts, m_presented);
    Add(packet.dts, m_decoded);
}

void StampProbe::Add(int64_t units, StampOrder& order) const
{
    const Nanoseconds time = ToNanoseconds(units, m_timeBase);
    if (units != AV_NOPTS_VALUE && time <= kFarthestStamp && time >= -kFarthestStamp)
        order.Add(time);
}

std::vector<Nanoseconds> StampsOfFile(const std::string& address, const std::string& name, int stream,
                                      Messages& messages)
try {
    // Some containers tell their streams only as they are read.
    const auto container = OpenContainer(address, name, messages);
    const LibavOwned<AVPacket> packet(av_packet_alloc());
    if (!packet || stream >= static_cast<int>(container->nb_streams))
        return {};
    for (unsigned i = 0; i < container->nb_streams; ++i)
        container->streams[i]->discard = static_cast<int>(i) == stream ? AVDISCARD_DEFAULT : AVDISCARD_ALL;

    StampProbe probe(container->streams[stream]->time_base);
    for (int64_t bytes = 0; bytes < kMostBytes && probe.Count() < kMostStamps; bytes += packet->size) {
        av_packet_unref(packet.get());
        if (av_read_frame(container.get(), packet.get()) < 0)
            break;
        if (packet->stream_index == stream)
            probe.Add(*packet);
    }
    return probe.Take();
} catch (const HostError&) {
    return {};
}

} // namespace host
