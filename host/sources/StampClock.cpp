#include "host/sources/StampClock.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace host
{

namespace
{

// Stamps that fall back by more than this have jumped; less is overlap, which the library cuts.
constexpr Nanoseconds kDeepestStep = kSecond / 2;

// The first piece of a stream may come late by a lot, but not by more than this.
constexpr Nanoseconds kLatestStart = 3600 * kSecond;

} // namespace

std::optional<Nanoseconds> StampClock::Expected() const
{
    if (!m_anchor)
        return std::nullopt;
    return *m_anchor + av_rescale(m_units, kSecond * m_rate.den, m_rate.num);
}

Nanoseconds StampClock::Place(std::optional<Nanoseconds> stamp, int64_t units)
{
    Nanoseconds time = Expected().value_or(0);
    const bool isOff = stamp && (!m_anchor || *stamp - time > m_tolerance || time - *stamp > m_tolerance);
    if (isOff || !m_anchor) {
        time = stamp.value_or(0);
        m_anchor = time;
        m_units = 0;
    }
    m_units += units;
    return time;
}

size_t TimeLine::AddStream(AVRational rate, Nanoseconds tolerance)
{
    m_streams.push_back({StampClock(rate, tolerance), 0});
    return m_streams.size() - 1;
}

Nanoseconds TimeLine::Place(size_t number, std::optional<Nanoseconds> stamp, int64_t units)
{
    Stream& stream = m_streams[number];
    if (stamp) {
        const auto expected = stream.clock.Expected();
        if (!Fits(*stamp + stream.offset, expected.value_or(0), expected ? m_longestGap : kLatestStart)) {
            stream.offset = CloseUp(stream, *stamp, expected.value_or(0));
            ++m_jumps;
        }
        *stamp += stream.offset;
    }
    return stream.clock.Place(stamp, units);
}

bool TimeLine::Fits(Nanoseconds stamp, Nanoseconds expected, Nanoseconds longestGap) const
{
    return stamp - expected <= longestGap && expected - stamp <= kDeepestStep;
}

// The offset with which the stamp follows on: another stream's if that has made the same jump, so that the two stay
// together to the sample.
Nanoseconds TimeLine::CloseUp(const Stream& stream, Nanoseconds stamp, Nanoseconds expected) const
{
    for (const Stream& other : m_streams)
        if (other.offset != stream.offset && Fits(stamp + other.offset, expected, m_longestGap))
            return other.offset;
    return expected - stamp;
}

} // namespace host
