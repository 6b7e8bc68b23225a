// The time stamps of live sources on the clock of this machine.
#ifndef ENCMGR_HOST_LIVE_CLOCK_H
#define ENCMGR_HOST_LIVE_CLOCK_H

#include "host/sources/Source.h"

#include <map>
#include <optional>

namespace host
{

// One moment on the two clocks of the machine. Live times are those of the steady one, which nobody sets.
struct Moment {
    Nanoseconds steady;
    Nanoseconds wall; // since 1970

    static Moment Now();
};

// What is to be added to a source's stamps. A device stamps with the wall clock or the steady one, and both tell when
// a picture was taken, however late it is read. Any other clock is tied to the moment when its first stamp was there,
// and again when it jumps. All streams of a source have the same clock.
class LiveClock
{
public:
    // opened: when the source was there; what is read later may have waited since.
    LiveClock(bool isDevice, Nanoseconds opened) : m_kind(isDevice ? Kind::kUnknown : Kind::kOwn), m_opened(opened) {}

    // Call for every stamp, in the order of reading: packets' decoding times.
    void Note(int stream, Nanoseconds stamp, const Moment& arrival);

    Nanoseconds Offset() const { return m_offset; }

private:
    enum class Kind { kUnknown, kWall, kSteady, kOwn };
    struct Last {
        Nanoseconds stamp;
        Nanoseconds arrival;
    };

    bool HasJumped(int stream, Nanoseconds stamp, Nanoseconds arrival) const;

    Kind m_kind;
    Nanoseconds m_opened;
    Nanoseconds m_offset = 0;
    std::map<int, Last> m_last;
};

// Audio by the count of its samples, held to its stamps: their waver is not heard, and where a device's clock is
// quicker or slower than the machine's, a sample is left out or added now and then.
class SampleClock
{
public:
    // isDevice: the first stamps are worse than those that follow.
    SampleClock(int rate, bool isDevice);

    // The time of a block of that many samples. Nothing while the clock settles: the block is best left out.
    std::optional<Nanoseconds> Place(Nanoseconds stamp, int64_t samples);

private:
    void Anchor(Nanoseconds time);

    int m_rate;
    int m_settling; // blocks that are still to come before the clock is good
    std::optional<Nanoseconds> m_anchor;
    int64_t m_samples = 0;     // since the anchor
    Nanoseconds m_average = 0; // of how far the stamps are off
};

} // namespace host

#endif // ENCMGR_HOST_LIVE_CLOCK_H
