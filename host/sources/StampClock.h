// Steady times from time stamps that a container has rounded, cut up or left out.
#ifndef ENCMGR_HOST_STAMP_CLOCK_H
#define ENCMGR_HOST_STAMP_CLOCK_H

#include "host/sources/Source.h"

#include <optional>
#include <vector>

namespace host
{

// What a stream's stamps are like.
struct StampKind {
    AVRational rate;         // units (samples, pictures) per second
    Nanoseconds tolerance;   // a stamp so near to the count is taken for rounding and gives way to it
    bool isWavering = false; // and for a waver around it, which it slowly follows
};

// One stream's clock. It counts samples or pictures from an anchor; a stamp within the tolerance of the count, or of a
// later unit where some are missing, gives way to the count. Any other is true and becomes the new anchor. So a stream
// of constant rate gets exact times however coarse the container's time base is, and real gaps stay.
class StampClock
{
public:
    explicit StampClock(const StampKind& kind) : m_kind(kind) {}

    // Begins in mid-stream: as if units had come all along from one at first up to a time.
    void Begin(Nanoseconds first, Nanoseconds at);

    // Where the next unit falls by the count; nothing before the first stamp.
    std::optional<Nanoseconds> Expected() const;

    // The time of a piece of that many units; without a stamp it follows the one before, from 0 at first.
    Nanoseconds Place(std::optional<Nanoseconds> stamp, int64_t units);

private:
    Nanoseconds TimeOf(int64_t units) const;
    void SkipMissing(Nanoseconds stamp);

    StampKind m_kind;
    std::optional<Nanoseconds> m_anchor;
    int64_t m_units = 0; // since the anchor
};

// The clocks of a file's streams on one time line. Where a stream's stamps jump, as in recordings that were strung
// together, the line is closed up, for all streams by the same amount if they jump together.
class TimeLine
{
public:
    // longestGap: a gap up to this is a real one.
    explicit TimeLine(Nanoseconds longestGap) : m_longestGap(longestGap) {}

    // Streams begin at about this time, not at 0.
    void BeginAt(Nanoseconds time) { m_begin = time; }

    // first: of a stream that begins in mid-stream, the time of its first unit. Returns the stream's number for Place.
    size_t AddStream(const StampKind& kind, std::optional<Nanoseconds> first = std::nullopt);

    Nanoseconds Place(size_t number, std::optional<Nanoseconds> stamp, int64_t units);

    // Jumps closed up so far.
    int Jumps() const { return m_jumps; }

private:
    struct Stream {
        StampClock clock;
        Nanoseconds offset; // added to its stamps
    };

    bool Fits(Nanoseconds stamp, Nanoseconds expected) const;
    bool IsStart(Nanoseconds stamp) const;
    Nanoseconds CloseUp(const Stream& stream, Nanoseconds stamp, Nanoseconds expected) const;

    Nanoseconds m_longestGap;
    Nanoseconds m_begin = 0;
    std::vector<Stream> m_streams;
    int m_jumps = 0;
};

} // namespace host

#endif // ENCMGR_HOST_STAMP_CLOCK_H
