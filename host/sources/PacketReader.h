// The packets of a container, in the order of the file.
#ifndef ENCMGR_HOST_PACKET_READER_H
#define ENCMGR_HOST_PACKET_READER_H

#include "host/sources/Libav.h"
#include "host/sources/Source.h"

#include <atomic>
#include <deque>

namespace host
{

class PacketReader
{
public:
    // name: as the user gave it. Throws HostError.
    PacketReader(const std::string& name, Messages& messages);

    AVFormatContext& Container() const { return *m_container; }

    // Has only these streams' packets come; numbers below 0 don't count.
    void Use(std::vector<int> streams);

    // Leaves out what isn't needed to decode what stands at a time of the file and behind, if the container can tell
    // where that is: packets go on at some distance before, with one of the stream that needs none before it. Returns
    // the time of the first frame to come, 0 if nothing is left out. Container() may change.
    Nanoseconds SkipTo(Nanoseconds time, int stream);

    // The stamps of a stream's pictures, in runs that rise: of a plain file those of all of it, otherwise those of a
    // first part, which is read ahead.
    std::vector<Nanoseconds> StampsOf(int stream);

    // The next packet. Returns what libavformat's reading gave; the packet is empty if that was an error.
    int Next(AVPacket& packet);

    // Has Next, which waits on another thread, end with an error.
    void Stop() { m_isStopped = true; }

private:
    std::vector<Nanoseconds> ReadAhead(int stream);
    int ReadOneAhead();
    std::optional<Nanoseconds> FindStartAhead(int leading, Nanoseconds target);
    void Reopen();

    std::string m_address; // for libavformat
    std::string m_name;    // for people
    Messages& m_messages;
    std::atomic<bool> m_isStopped = false;
    LibavOwned<AVFormatContext> m_container;
    std::vector<int> m_used;
    std::deque<LibavOwned<AVPacket>> m_ahead; // read, but not yet given
    int m_readAhead = 0;                      // what reading gave behind them, if that was an error
};

} // namespace host

#endif // ENCMGR_HOST_PACKET_READER_H
