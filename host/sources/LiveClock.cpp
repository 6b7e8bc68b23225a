#include "host/sources/LiveClock.h"

#include <chrono>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace host
{

namespace
{

// A stamp so near to one of the machine's clocks is of that clock.
constexpr Nanoseconds kSameClock = 60 * kSecond;

// Stamps of a source's own clock that go back by more than the first, or run ahead of the real time by more than the
// second, have jumped.
constexpr Nanoseconds kDeepestStep = kSecond;
constexpr Nanoseconds kFarthestAhead = 10 * kSecond;

// How far audio stamps may be off the count of samples: all at once, for that is a gap; on average, which is a small
// gap or the result of one; and before a sample gives way.
constexpr Nanoseconds kGap = 60'000'000;
constexpr Nanoseconds kSmallGap = 12'000'000;
constexpr Nanoseconds kUnheard = 2'000'000;

// Blocks of 20 ms that a device's stamps take to be worth something.
constexpr int kSettling = 15;

// The average is that of about so many blocks.
constexpr int kBlocks = 64;

} // namespace

Moment Moment::Now()
{
    using std::chrono::duration_cast;
    using std::chrono::nanoseconds;
    return {duration_cast<nanoseconds>(std::chrono::steady_clock::now().time_since_epoch()).count(),
            duration_cast<nanoseconds>(std::chrono::system_clock::now().time_since_epoch()).count()};
}

void LiveClock::Note(int stream, Nanoseconds stamp, const Moment& arrival)
{
    if (m_kind == Kind::kUnknown)
        m_kind = std::abs(stamp - arrival.wall) < kSameClock     ? Kind::kWall
                 : std::abs(stamp - arrival.steady) < kSameClock ? Kind::kSteady
                                                                 : Kind::kOwn;
    if (m_kind == Kind::kWall)
        m_offset = arrival.steady - arrival.wall; // the wall clock may be set at any time
    else if (m_kind == Kind::kOwn && m_last.empty())
        m_offset = m_opened - stamp;
    else if (m_kind == Kind::kOwn && HasJumped(stream, stamp, arrival.steady))
        m_offset = arrival.steady - stamp;
    m_last[stream] = {stamp, arrival.steady};
}

// If another stream has made the jump already, the offset is right by now.
bool LiveClock::HasJumped(int stream, Nanoseconds stamp, Nanoseconds arrival) const
{
    const auto last = m_last.find(stream);
    if (last == m_last.end())
        return false;
    const Nanoseconds step = stamp - last->second.stamp;
    const bool isJump = step < -kDeepestStep || step > arrival - last->second.arrival + kFarthestAhead;
    return isJump && std::abs(stamp + m_offset - arrival) > kDeepestStep;
}

SampleClock::SampleClock(int rate, bool isDevice) : m_rate(rate), m_settling(isDevice ? kSettling : 0) {}

void SampleClock::Anchor(Nanoseconds time)
{
    m_anchor = time;
    m_samples = 0;
    m_average = 0;
}

std::optional<Nanoseconds> SampleClock::Place(Nanoseconds stamp, int64_t samples)
{
    if (!m_anchor)
        Anchor(stamp);
    Nanoseconds time = *m_anchor + av_rescale(m_samples, kSecond, m_rate);
    const Nanoseconds off = stamp - time;
    if (m_settling > 0) {
        *m_anchor += off / 4; // the last four count most
        m_samples += samples;
        --m_settling;
        return std::nullopt;
    }
    m_average += (off - m_average) / kBlocks;
    if (std::abs(off) > kGap || std::abs(m_average) > kSmallGap) {
        Anchor(std::abs(off) > kGap ? stamp : time + m_average);
        time = *m_anchor;
    } else if (std::abs(m_average) > kUnheard) {
        const Nanoseconds sample = (m_average > 0 ? kSecond : -kSecond) / m_rate;
        *m_anchor += sample;
        m_average -= sample;
        time += sample;
    }
    m_samples += samples;
    return time;
}

} // namespace host
