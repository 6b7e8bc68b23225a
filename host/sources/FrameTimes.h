// The times of decoded frames, from the start of their file.
#ifndef ENCMGR_HOST_FRAME_TIMES_H
#define ENCMGR_HOST_FRAME_TIMES_H

#include "host/sources/Libav.h"
#include "host/sources/StampClock.h"

#include <optional>
#include <vector>

namespace host
{

class FrameTimes
{
public:
    // longestGap: a longer one in the stamps of a stream is a jump of its clock.
    explicit FrameTimes(Nanoseconds longestGap) : m_line(longestGap) {}

    // The file's start in its own time; if it isn't set, the first frame's time is.
    void SetStart(Nanoseconds start) { m_start = start; }

    // Reading begins at about this time of the file, not at its start. Before streams are added.
    void BeginAt(Nanoseconds time)
    {
        m_line.BeginAt(time);
        m_isMidway = time > 0;
    }

    // When a stream's first frame stands in the file as its container states it. Nothing if that isn't known.
    std::optional<Nanoseconds> FirstOf(const AVStream& stream) const;

    // Returns the stream's number for Place.
    size_t AddStream(const StampKind& kind, const AVStream& stream);

    // Before a decoder is opened, and before it gets a packet: the packet's decoding time is to come out with the frame
    // that the packet holds.
    static void Prepare(AVCodecContext& decoder);
    static void Tag(AVPacket& packet, AVCodecContext& decoder);

    // Where a frame falls that has so many units, pictures or samples. Frames of a stream come in the order of time.
    Nanoseconds Place(size_t stream, const AVFrame& frame, int64_t units);

    // Jumps of the clock that were closed up so far.
    int Jumps() const { return m_line.Jumps(); }

private:
    struct Stream {
        AVRational timeBase;
        std::optional<Nanoseconds> delay; // of its frames' stamps
    };

    std::optional<Nanoseconds> StampOf(Stream& stream, const AVFrame& frame);

    TimeLine m_line;
    std::vector<Stream> m_streams;
    std::optional<Nanoseconds> m_start;
    bool m_isMidway = false;
};

} // namespace host

#endif // ENCMGR_HOST_FRAME_TIMES_H
