#include "host/job/Job.h"

#include "host/base/Interrupt.h"

#include <algorithm>
#include <cmath>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace host
{

namespace
{

// Blocks are cut to this many samples, so that pictures and audio stay close to each other in the file.
constexpr int64_t kSamplesPerBlock = 4096;

// A picture may stand this long at the end, whatever its container says.
constexpr Nanoseconds kLongestEnd = 3600 * kSecond;

// A gap is filled in steps, between which the program can be interrupted.
constexpr Nanoseconds kHoldStep = kSecond;

// So many pieces in a row aren't written only if none can be written any more. An encoder may hold back fewer.
constexpr int kMostRefusals = 500;

// With the last picture written, audio is still awaited for this long.
constexpr Nanoseconds kLongestWait = 10 * kSecond;

// In seconds: how far pictures may be from the audio that they belong to, and what lead of audio is no mere offset.
constexpr double kUnnoticed = 0.015;
constexpr double kLongestLead = 1e6;

// No file is longer.
constexpr Nanoseconds kEndOfTime = 1'000'000'000 * kSecond;

} // namespace

Job::Job(const JobPlan& plan, TimeMerge& merge, JobWriter& writer, Progress& progress)
    : m_plan(plan), m_merge(merge), m_writer(writer), m_progress(progress), m_videoOver(!plan.hasVideo),
      m_audioOver(!plan.hasAudio)
{
}

void Job::Run()
{
    m_origin = FindOrigin();
    while (!IsOver()) {
        Item item = m_merge.Next();
        if (item.kind == Item::Kind::kEnd)
            break;
        item.time -= m_origin;
        if (item.kind == Item::Kind::kPicture)
            TakePicture(std::move(item));
        else
            TakeAudio(item);
        m_progress.Update(m_counts, m_position);
    }
    EndPictures();
}

bool Job::IsRefused() const
{
    return m_pictureRefusals >= kMostRefusals || m_audioRefusals >= kMostRefusals;
}

bool Job::IsOver() const
{
    return (m_videoOver && m_audioOver) || IsRefused() || InterruptSignal();
}

// The first time of both streams. If audio comes first, pictures may lie between the places of the output's: the
// nearest place does if it is near enough for nobody to notice. Otherwise the start goes back so far that the first
// picture falls on a place, or pictures would be dropped and repeated by turns as their times waver.
Nanoseconds Job::FindOrigin()
{
    const auto picture = m_merge.FirstPicture();
    const auto block = m_merge.FirstBlock();
    if (!picture || !block || *picture <= *block)
        return picture ? *picture : block.value_or(0);
    const double lead = static_cast<double>(*picture - *block) / static_cast<double>(kSecond);
    const double places = lead * av_q2d(m_plan.frameRate);
    const double off = std::fabs(places - std::round(places));
    if ((off <= 1.0 / 3.0 && off / av_q2d(m_plan.frameRate) <= kUnnoticed) || lead > kLongestLead)
        return *block;
    return *picture - TimeOfPicture(static_cast<int64_t>(std::ceil(places)));
}

void Job::TakePicture(Item picture)
{
    const Nanoseconds time = picture.time;
    if (m_videoOver) {
        // That was by the count of pictures. All audio up to here has come by now.
        m_audioOver = m_audioOver || time > TimeOfPicture(*m_plan.pictures) + kLongestWait;
        return;
    }
    const bool isFirst = m_held.kind == Item::Kind::kEnd;
    if (isFirst) {
        // What stands before the first picture is that picture.
        m_held = picture;
        m_held.time = std::min<Nanoseconds>(time, 0);
    }
    if (m_plan.pictures && PictureDueAt(time) >= *m_plan.pictures) {
        if (isFirst)
            Write(m_held, m_held.time, false);
        HoldUntil(TimeOfPicture(*m_plan.pictures));
        m_videoOver = true;
        m_held = {};
        return;
    }
    HoldUntil(time);
    m_held = std::move(picture);
    Write(m_held, time, false);
}

void Job::TakeAudio(const Item& block)
{
    if (m_audioOver)
        return;
    const int channels = m_plan.audioInfo.channels;
    const int rate = m_plan.audioInfo.samplerate;
    int64_t count = static_cast<int64_t>(block.samples.size()) / channels;
    if (m_plan.pictures) {
        const Nanoseconds rest = TimeOfPicture(*m_plan.pictures) - block.time;
        const int64_t most = rest > 0 ? av_rescale(rest, rate, kSecond) : 0;
        m_audioOver = most <= count;
        count = std::min(count, most);
    }
    for (int64_t done = 0; done < count; done += kSamplesPerBlock) {
        const int64_t part = std::min(kSamplesPerBlock, count - done);
        const auto samples = std::span(block.samples)
                                 .subspan(static_cast<size_t>(done * channels), static_cast<size_t>(part * channels));
        const Nanoseconds time = block.time + av_rescale(done, kSecond, rate);
        const int result = m_writer.WriteSamples(samples, time);
        m_audioRefusals = result > 0 ? 0 : m_audioRefusals + 1;
        m_wroteAudio = m_wroteAudio || result > 0;
        m_hadAudio = true;
        m_position = std::max(m_position, time + av_rescale(part, kSecond, rate));
    }
}

// The last picture stands as long as its source says.
void Job::EndPictures()
{
    if (m_held.kind == Item::Kind::kEnd || InterruptSignal() || IsRefused())
        return;
    Nanoseconds end = m_held.time + std::min(m_held.duration, kLongestEnd);
    if (m_plan.pictures)
        end = std::min(end, TimeOfPicture(*m_plan.pictures));
    HoldUntil(end);
}

// Brings the pictures up to just before the time with copies of the one held, if there is a gap.
void Job::HoldUntil(Nanoseconds time)
{
    const Nanoseconds period = TimeOfPicture(1);
    if (time - m_held.time <= period + period / 2)
        return;
    const Nanoseconds step = std::max(kHoldStep, period);
    for (Nanoseconds at = m_held.time + step; at < time - period; at += step) {
        if (InterruptSignal() || IsRefused())
            return;
        Write(m_held, at, true);
        m_progress.Update(m_counts, m_position);
    }
    Write(m_held, time - period, true);
}

void Job::Write(const Item& picture, Nanoseconds time, bool isRepeat)
{
    const int copies = std::max(0, m_writer.WritePicture(*picture.frame, time, picture.duration));
    m_counts.pictures += copies;
    m_counts.repeated += isRepeat ? copies : std::max(0, copies - 1);
    m_counts.dropped += !isRepeat && copies == 0;
    m_position = std::max(m_position, time + TimeOfPicture(1));
    m_hadPicture = true;

    // A picture whose place is taken was rightly left out.
    const int64_t place = PictureDueAt(time);
    if (copies > 0) {
        m_nextPlace = place + 1;
        m_pictureRefusals = 0;
    } else if (place >= m_nextPlace) {
        ++m_pictureRefusals;
    }
}

// As the library counts: the number of the output's picture that a time belongs to.
int64_t Job::PictureDueAt(Nanoseconds time) const
{
    const double place = static_cast<double>(time) / static_cast<double>(kSecond) * av_q2d(m_plan.frameRate);
    return static_cast<int64_t>(place + 0.5);
}

Nanoseconds Job::TimeOfPicture(int64_t number) const
{
    const Nanoseconds time = av_rescale(number, kSecond * m_plan.frameRate.den, m_plan.frameRate.num);
    return time < 0 ? kEndOfTime : time; // out of range
}

} // namespace host
