#include "host/sources/StampClock.h"

#include <algorithm>
#include <cstdlib>

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

// The part of what a wavering stamp is off that its clock follows.
constexpr int kSlowness = 8;

} // namespace

void StampClock::Begin(Nanoseconds first, Nanoseconds at)
{
    m_anchor = first;
    m_units =
        av_rescale_rnd(std::max<Nanoseconds>(at - first, 0), m_kind.rate.num, kSecond * m_kind.rate.den, AV_ROUND_DOWN);
}

std::optional<Nanoseconds> StampClock::Expected() const
{
    return m_anchor ? std::optional(TimeOf(m_units)) : std::nullopt;
}

Nanoseconds StampClock::TimeOf(int64_t units) const
{
    return *m_anchor + av_rescale(units, kSecond * m_kind.rate.den, m_kind.rate.num);
}

// Where units are missing, the next one may stand as many places further on. Only units that are longer than what
// stamps are off can be told apart so.
void StampClock::SkipMissing(Nanoseconds stamp)
{
    const Nanoseconds period = TimeOf(1) - *m_anchor;
    if (period <= 2 * m_kind.tolerance || stamp < TimeOf(m_units))
        return;
    const int64_t units = av_rescale(stamp - *m_anchor, m_kind.rate.num, kSecond * m_kind.rate.den);
    if (std::abs(stamp - TimeOf(units)) <= m_kind.tolerance)
        m_units = units;
}

Nanoseconds StampClock::Place(std::optional<Nanoseconds> stamp, int64_t units)
{
    if (m_anchor && stamp)
        SkipMissing(*stamp);
    if (!m_anchor || (stamp && std::abs(*stamp - TimeOf(m_units)) > m_kind.tolerance)) {
        m_anchor = stamp.value_or(0);
        m_units = 0;
    }
    const Nanoseconds time = TimeOf(m_units);
    if (stamp && m_kind.isWavering)
        *m_anchor += (*stamp - time) / kSlowness;
    m_units += units;
    return time;
}

size_t TimeLine::AddStream(const StampKind& kind, std::optional<Nanoseconds> first)
{
    m_streams.push_back({StampClock(kind), 0});
    if (first)
        m_streams.back().clock.Begin(*first, m_begin);
    return m_streams.size() - 1;
}

Nanoseconds TimeLine::Place(size_t number, std::optional<Nanoseconds> stamp, int64_t units)
{
    Stream& stream = m_streams[number];
    if (stamp) {
        const auto expected = stream.clock.Expected();
        if (!(expected ? Fits(*stamp + stream.offset, *expected) : IsStart(*stamp + stream.offset))) {
            stream.offset = CloseUp(stream, *stamp, expected.value_or(m_begin));
            ++m_jumps;
        }
        *stamp += stream.offset;
    }
    return stream.clock.Place(stamp, units);
}

bool TimeLine::Fits(Nanoseconds stamp, Nanoseconds expected) const
{
    return stamp - expected <= m_longestGap && expected - stamp <= kDeepestStep;
}

// Streams that begin in mid-file don't all begin at the same time.
bool TimeLine::IsStart(Nanoseconds stamp) const
{
    return stamp - m_begin <= kLatestStart && stamp >= -kDeepestStep;
}

// The offset with which the stamp follows on: another stream's if that has made the same jump, so that the two stay
// together to the sample.
Nanoseconds TimeLine::CloseUp(const Stream& stream, Nanoseconds stamp, Nanoseconds expected) const
{
    for (const Stream& other : m_streams)
        if (other.offset != stream.offset && Fits(stamp + other.offset, expected))
            return other.offset;
    return expected - stamp;
}

} // namespace host
