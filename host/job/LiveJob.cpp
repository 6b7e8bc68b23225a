#include "host/job/LiveJob.h"

#include <algorithm>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace host
{

namespace
{

// With pictures there and no audio yet, the file starts after this with silence.
constexpr Nanoseconds kLongestWait = 2 * kSecond;

// Of audio that is kept while pictures are awaited.
constexpr Nanoseconds kMostEarlyAudio = 5 * kSecond;

// What stands still is written in steps of a second, and silence in blocks of so many samples.
constexpr Nanoseconds kHoldStep = kSecond;
constexpr int64_t kSamplesPerBlock = 4096;

// No file is longer.
constexpr Nanoseconds kEndOfTime = 1'000'000'000 * kSecond;

} // namespace

LiveJob::LiveJob(const JobPlan& plan, FrameWriter& writer, Tally& tally, const Limits& limits)
    : JobResult(writer, tally), m_plan(plan), m_limits(limits)
{
    if (limits.length)
        m_lastPlace = std::max<int64_t>(PlaceOf(*limits.length), 1);
}

void LiveJob::Take(Item item)
{
    const bool isPicture = item.kind == Item::Kind::kPicture;
    if (m_origin) {
        isPicture ? TakePicture(item) : TakeAudio(item);
        return;
    }
    if (isPicture) {
        m_firstPicture = m_firstPicture.value_or(item.time);
        m_held = std::move(item);
    } else {
        m_early.push_back(std::move(item));
        while (m_early.back().time - m_early.front().time > kMostEarlyAudio)
            m_early.pop_front();
    }
    const bool isHeard = !m_plan.hasAudio || !m_early.empty();
    if (!m_plan.hasVideo)
        Start(m_early.front().time);
    else if (isHeard && m_firstPicture && (m_early.empty() || m_held.time >= m_early.front().time))
        Start(m_held.time);
}

// With the first picture, and what was heard meanwhile.
void LiveJob::Start(Nanoseconds origin)
{
    m_origin = origin;
    if (m_plan.hasVideo)
        TakePicture(Item(m_held));
    for (const Item& block : m_early)
        TakeAudio(block);
    m_early.clear();
}

void LiveJob::TakePicture(const Item& picture)
{
    const Nanoseconds time = std::max<Nanoseconds>(picture.time - *m_origin, 0);
    const int64_t place = PlaceOf(time);
    if (place >= m_lastPlace) {
        HoldPicturesTo(m_lastPlace);
        return;
    }
    HoldPicturesTo(place);
    m_held = picture;
    m_hadPicture = true;
    Write(time, false);
}

// What is held, at all places that have no picture by then; where there is none, the library drops it.
void LiveJob::Write(Nanoseconds time, bool isRepeat)
{
    const int64_t place = PlaceOf(time);
    const int copies = std::max(0, m_writer.WritePicture(*m_held.frame, time, m_held.duration));
    const bool isDue = place >= m_nextPlace;
    if (copies > 0 || isDue)
        m_pictureRefusals = copies > 0 ? 0 : m_pictureRefusals + 1;
    m_nextPlace = std::max(m_nextPlace, place + 1);
    m_tally.WritePictures(m_nextPlace - 1, copies, isRepeat);
    m_tally.Reach(TimeOfPlace(m_nextPlace));
    if (isRepeat)
        return;
    m_droppedRun = copies > 0 ? 0 : m_droppedRun + 1;
    if (copies > 0)
        m_tally.TakePicture();
    else
        m_tally.DropPictures(time, 1, m_droppedRun);
}

void LiveJob::HoldPicturesTo(int64_t place)
{
    const int64_t step = std::max<int64_t>(PlaceOf(kHoldStep), 1);
    while (m_nextPlace < place && m_held.frame && !IsRefused())
        Write(TimeOfPlace(std::min(m_nextPlace + step, place) - 1), true);
}

void LiveJob::TakeAudio(const Item& block)
{
    const int channels = m_plan.audioInfo.channels;
    const int rate = m_plan.audioInfo.samplerate;
    const int64_t count = static_cast<int64_t>(block.samples.size()) / channels;
    const Nanoseconds time = block.time - *m_origin;
    // From 0 on, and up to the length.
    const int64_t from = time < 0 ? std::min(av_rescale(-time, rate, kSecond), count) : 0;
    int64_t to = count;
    if (m_limits.length)
        to =
            std::clamp<int64_t>(av_rescale(std::max<Nanoseconds>(*m_limits.length - time, 0), rate, kSecond), 0, count);
    for (int64_t done = from; done < to; done += kSamplesPerBlock) {
        const int64_t part = std::min(kSamplesPerBlock, to - done);
        WriteSamples(std::span(block.samples)
                         .subspan(static_cast<size_t>(done * channels), static_cast<size_t>(part * channels)),
                     std::max<Nanoseconds>(time + av_rescale(done, kSecond, rate), 0));
    }
    // Where what is cut off begins, all has come.
    if (to < count && m_limits.length)
        m_audioEnd = std::max(m_audioEnd, *m_limits.length);
}

void LiveJob::WriteSamples(std::span<const int16_t> samples, Nanoseconds time)
{
    const int result = m_writer.WriteSamples(samples, time);
    const auto count = static_cast<int64_t>(samples.size()) / m_plan.audioInfo.channels;
    const Nanoseconds end = time + av_rescale(count, kSecond, m_plan.audioInfo.samplerate);
    // What comes too late is dropped, which isn't a refusal.
    if (result > 0 || end > m_audioEnd)
        m_audioRefusals = result > 0 ? 0 : m_audioRefusals + 1;
    m_wroteAudio = m_wroteAudio || result > 0;
    m_hadAudio = true;
    m_audioEnd = std::max(m_audioEnd, end);
    m_tally.Reach(m_audioEnd);
}

void LiveJob::HoldAudioTo(Nanoseconds time)
{
    const auto channels = static_cast<size_t>(m_plan.audioInfo.channels);
    const int rate = m_plan.audioInfo.samplerate;
    int64_t count = av_rescale(time - m_audioEnd, rate, kSecond);
    m_silence += std::max<Nanoseconds>(time - m_audioEnd, 0);
    const std::vector<int16_t> silence(kSamplesPerBlock * channels);
    for (; count > 0 && !IsRefused(); count -= kSamplesPerBlock)
        WriteSamples(std::span(silence).first(static_cast<size_t>(std::min(count, kSamplesPerBlock)) * channels),
                     m_audioEnd);
    m_audioEnd = std::max(m_audioEnd, time); // but for a part of a sample
}

void LiveJob::HoldPictures(Nanoseconds now)
{
    if (!m_origin && m_firstPicture && now - *m_firstPicture > kLongestWait + m_limits.audioDelay)
        Start(m_held.time);
    if (!m_origin || !m_plan.hasVideo)
        return;
    const Nanoseconds time = now - *m_origin - m_limits.pictureDelay;
    if (time > 0)
        HoldPicturesTo(std::min(PlaceOf(time), m_lastPlace));
}

void LiveJob::HoldAudio(Nanoseconds now)
{
    if (!m_origin || !m_plan.hasAudio)
        return;
    const Nanoseconds time = now - *m_origin - m_limits.audioDelay;
    const Nanoseconds end = std::min(time, m_limits.length.value_or(kEndOfTime));
    if (end > m_audioEnd)
        HoldAudioTo(end);
}

bool LiveJob::IsOver() const
{
    if (IsRefused())
        return true;
    return m_limits.length && m_origin && (!m_plan.hasVideo || m_nextPlace >= m_lastPlace) &&
           (!m_plan.hasAudio || m_audioEnd >= *m_limits.length);
}

void LiveJob::End(bool isWhole)
{
    if (!m_origin && m_firstPicture)
        Start(m_held.time);
    if (!m_origin)
        return;
    const bool isToLength = isWhole && m_limits.length;
    HoldPicturesTo(isToLength ? m_lastPlace : std::min(PlaceOf(m_tally.Position()), m_lastPlace));
    if (m_plan.hasAudio && isToLength && m_audioEnd < *m_limits.length)
        HoldAudioTo(*m_limits.length);
}

void LiveJob::CountLost(int64_t pictures)
{
    m_tally.DropPictures(m_tally.Position(), pictures - m_lost, pictures - m_lost);
    m_lost = pictures;
}

// As the library counts, which has units of 100 ns.
int64_t LiveJob::PlaceOf(Nanoseconds time) const
{
    return static_cast<int64_t>(InSeconds(time - time % 100) * av_q2d(m_plan.frameRate) + 0.5);
}

Nanoseconds LiveJob::TimeOfPlace(int64_t place) const
{
    const Nanoseconds time = av_rescale(place, kSecond * m_plan.frameRate.den, m_plan.frameRate.num);
    return time < 0 ? kEndOfTime : time; // out of range
}

} // namespace host
