// The packets of a container, in the order of the file.
#ifndef ENCMGR_HOST_PACKET_READER_H
#define ENCMGR_HOST_PACKET_READER_H

#include "host/sources/Libav.h"
#include "host/sources/Source.h"

#include <deque>

namespace host
{

class PacketReader
{
public:
    // name: as the user gave it. Throws HostError.
    PacketReader(const std::string& name, Messages& messages);

    AVFormatContext& Container() const { return *m_container; }

    // The stamps of a stream's pictures, in runs that rise: of a plain file those of all of it, otherwise those of a
    // first part, which is read ahead.
    std::vector<Nanoseconds> StampsOf(int stream);

    // The next packet. Returns what libavformat's reading gave; the packet is empty if that was an error.
    int Next(AVPacket& packet);

private:
    std::vector<Nanoseconds> ReadAhead(int stream);

    std::string m_address; // for libavformat
    std::string m_name;    // for people
    Messages& m_messages;
    LibavOwned<AVFormatContext> m_container;
    std::deque<LibavOwned<AVPacket>> m_ahead; // read, but not yet given
    int m_readAhead = 0;                      // what reading gave behind them, if that was an error
};

} // namespace host

#endif // ENCMGR_HOST_PACKET_READER_H
