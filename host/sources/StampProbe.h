// The time stamps of a stream, looked at before its pictures are decoded.
#ifndef ENCMGR_HOST_STAMP_PROBE_H
#define ENCMGR_HOST_STAMP_PROBE_H

#include "host/sources/Libav.h"
#include "host/sources/Source.h"

#include <vector>

namespace host
{

// What is read ahead of what can't be read twice, to see how its time stamps stand.
constexpr size_t kPicturesAhead = 100;
constexpr int64_t kBytesAhead = 32 << 20;

// Puts the stamps of packets, which come in the order of decoding, into the order of the pictures.
class StampOrder
{
public:
    void Add(Nanoseconds stamp);

    // All stamps so far, in rising runs.
    std::vector<Nanoseconds> Take();

private:
    static constexpr size_t kMostReordered = 16; // pictures, as in H.264

    void Release(size_t left);

    std::vector<Nanoseconds> m_waiting; // a heap, the earliest in front
    std::vector<Nanoseconds> m_ordered;
};

// Collects the stamps of a stream's packets.
class StampProbe
{
public:
    explicit StampProbe(AVRational timeBase) : m_timeBase(timeBase) {}

    void Add(const AVPacket& packet);
    size_t Count() const { return m_count; }

    // In the order of the pictures, in runs that rise. Of a container that gives presentation times for some packets
    // alone, those by which they are to be decoded, which stand on the same grid.
    std::vector<Nanoseconds> Take() { return (m_isPresented ? m_presented : m_decoded).Take(); }

private:
    void Add(int64_t units, StampOrder& order) const;

    AVRational m_timeBase;
    StampOrder m_presented;
    StampOrder m_decoded;
    bool m_isPresented = true;
    size_t m_count = 0;
};

// Reads the stamps of a stream of a file through a container of its own, without decoding: of all of the file, or of
// its first 256 MiB. Nothing if the file can't be read.
std::vector<Nanoseconds> StampsOfFile(const std::string& address, const std::string& name, int stream,
                                      Messages& messages);

} // namespace host

#endif // ENCMGR_HOST_STAMP_PROBE_H
