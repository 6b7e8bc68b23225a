#include "host/job/Job.h"

#include "host/base/Interrupt.h"
#include "host/base/Text.h"
#include "host/job/Beginning.h"

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

// A gap is filled in steps of a second, between which the program can be interrupted.
constexpr Nanoseconds kHoldStep = kSecond;

// How far from where they fall pictures may be put, in places. At the source's rate there is one for each, and stamps
// may waver; at a lower one each place gets the nearest, but for the rounding of times.
constexpr double kFarthest = 0.75;
constexpr double kFarthestOfFewer = 0.501;

// With the last picture written, audio is still awaited for this long.
constexpr Nanoseconds kLongestWait = 10 * kSecond;

// No file is longer.
constexpr Nanoseconds kEndOfTime = 1'000'000'000 * kSecond;

} // namespace

Job::Job(const JobPlan& plan, TimeMerge& merge, FrameWriter& writer, Tally& tally, Progress& progress)
    : JobResult(writer, tally), m_plan(plan), m_merge(merge), m_progress(progress),
      m_places(HasFewerPlaces(plan) ? kFarthestOfFewer : kFarthest), m_videoOver(!plan.hasVideo),
      m_audioOver(!plan.hasAudio)
{
}

void Job::Run()
{
    Begin();
    while (!IsOver()) {
        Item item = NextItem();
        if (item.kind == Item::Kind::kEnd)
            break;
        item.time -= m_origin;
        if (item.kind == Item::Kind::kPicture)
            TakePicture(std::move(item));
        else
            TakeAudio(item);
        m_progress.Update(m_tally);
    }
    m_merge.Stop();
    EndPictures();
}

// Settles where the job begins and ends.
void Job::Begin()
{
    Beginning beginning = FindBeginning(m_plan, m_merge);
    m_origin = beginning.time;
    m_waiting = std::move(beginning.items);
    m_limit = m_plan.pictures;
    if (beginning.end && m_plan.hasVideo) {
        const Nanoseconds length = *beginning.end - GrainOfTime(m_plan.frameRate) - m_origin;
        const int64_t places =
            av_rescale_rnd(length, m_plan.frameRate.num, kSecond * m_plan.frameRate.den, AV_ROUND_UP);
        m_limit = std::min(std::max<int64_t>(places, 1), m_limit.value_or(INT64_MAX));
    }
    if (m_limit)
        m_audioEnd = TimeOfPlace(*m_limit);
    else if (beginning.end)
        m_audioEnd = *beginning.end - m_origin;
}

Item Job::NextItem()
{
    if (m_waiting.empty())
        return m_merge.Next();
    Item item = std::move(m_waiting.front());
    m_waiting.pop_front();
    return item;
}

bool Job::IsGivenUp() const
{
    return IsRefused() || !m_brokenLimit.empty() || InterruptSignal();
}

bool Job::IsOver() const
{
    return (m_videoOver && m_audioOver) || IsGivenUp();
}

void Job::TakePicture(Item picture)
{
    const Nanoseconds time = picture.time;
    if (m_videoOver) {
        // That was by the count of pictures. All audio up to here has come by now.
        m_audioOver = m_audioOver || time > *m_audioEnd + kLongestWait;
        return;
    }
    m_videoOver = m_limit && NearestPlace(time) >= *m_limit;
    m_end = EndOf(picture);
    // What stands before the first picture is that picture.
    const double position = m_hadPicture ? std::max(PositionOf(time), 0.0) : 0.0;
    if (!m_videoOver || !m_hadPicture) {
        const int64_t dropped = m_places.Dropped();
        auto placed = m_places.Put(std::move(picture), position);
        m_tally.DropPictures(time, m_places.Dropped() - dropped, m_places.LargestRunDropped());
        if (placed)
            Show(std::move(*placed));
    }
    m_hadPicture = true;
    CheckStrictness(time);
    if (m_videoOver)
        EndPictures();
}

void Job::TakeAudio(const Item& block)
{
    if (m_audioOver)
        return;
    const int channels = m_plan.audioInfo.channels;
    const int rate = m_plan.audioInfo.samplerate;
    int64_t count = static_cast<int64_t>(block.samples.size()) / channels;
    if (m_audioEnd) {
        const Nanoseconds rest = *m_audioEnd - block.time;
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
        m_tally.Reach(time + av_rescale(part, kSecond, rate));
    }
}

// Shows what still waits. The last picture stands as long as its source says, and none behind its end.
void Job::EndPictures()
{
    const int64_t end = m_videoOver && m_limit ? *m_limit : m_end;
    int64_t behind = 0;
    while (!IsGivenUp()) {
        auto placed = m_places.TakeFirst();
        if (!placed)
            break;
        if (placed->place < end)
            Show(std::move(*placed));
        else if (!m_videoOver)
            m_tally.DropPictures(m_tally.Position(), 1, ++behind);
        CheckStrictness(TimeOfPlace(end));
    }
    if (m_held.kind != Item::Kind::kEnd)
        HoldUpTo(m_limit ? std::min(end, *m_limit) : end);
    m_held = {};
}

void Job::Show(PicturePlaces::Placed placed)
{
    if (m_held.kind == Item::Kind::kEnd)
        m_held = placed.picture;
    CheckGap(placed.place);
    HoldUpTo(placed.place);
    m_held = std::move(placed.picture);
    if (IsGivenUp())
        return;
    m_tally.TakePicture();
    Write(placed.place, false);
}

// A clock that has jumped shall not make hours of one picture.
void Job::CheckGap(int64_t place)
{
    const auto period = static_cast<Nanoseconds>(static_cast<double>(kSecond) / m_plan.videoInfo.framerate);
    const Nanoseconds gap = TimeOfPlace(place - m_nextPlace + 1) - period;
    if (gap > m_plan.longestGap)
        m_brokenLimit = Format("no picture for %.1f s from %.3f s on; --max-gap %.0f holds one for so long",
                               InSeconds(gap), InSeconds(TimeOfPlace(m_nextPlace)), std::ceil(InSeconds(gap)));
}

void Job::CheckStrictness(Nanoseconds time)
{
    const Counts& counts = GetCounts();
    if (m_plan.isStrict && m_brokenLimit.empty() && counts.repeated + counts.dropped > 0)
        m_brokenLimit = Format("the pictures aren't of constant rate: by %.3f s, %s (--strict-cfr)", InSeconds(time),
                               PacingText(counts).c_str());
}

// Brings the output up to just before a place with copies of the picture held.
void Job::HoldUpTo(int64_t place)
{
    const int64_t step = std::max<int64_t>(NearestPlace(kHoldStep), 1);
    while (m_nextPlace < place && !IsGivenUp()) {
        Write(std::min(m_nextPlace + step, place) - 1, true);
        m_progress.Update(m_tally);
    }
}

// Writes the picture held at all places up to this one.
void Job::Write(int64_t place, bool isRepeat)
{
    const Nanoseconds time = TimeOfPlace(place);
    const int copies = std::max(0, m_writer.WritePicture(*m_held.frame, time, m_held.duration));
    m_tally.WritePictures(place, copies, isRepeat);
    m_pictureRefusals = copies > 0 ? 0 : m_pictureRefusals + 1;
    m_tally.Reach(TimeOfPlace(place + 1));
    m_nextPlace = place + 1;
    CheckStrictness(time);
}

// The first place behind a picture that is the last one. Its duration may be that of a field, or not be known.
int64_t Job::EndOf(const Item& picture) const
{
    constexpr double kRounding = 0.01;
    const auto period = static_cast<Nanoseconds>(static_cast<double>(kSecond) / m_plan.videoInfo.framerate);
    const Nanoseconds duration = std::min(picture.duration > 0 ? picture.duration : period, kLongestEnd);
    const auto own = static_cast<int64_t>(PositionOf(picture.time) + kRounding);
    return std::max(NearestPlace(picture.time + duration), own + 1);
}

// As the library counts, in places of the output.
double Job::PositionOf(Nanoseconds time) const
{
    return InSeconds(time) * av_q2d(m_plan.frameRate);
}

int64_t Job::NearestPlace(Nanoseconds time) const
{
    return static_cast<int64_t>(PositionOf(time) + 0.5);
}

Nanoseconds Job::TimeOfPlace(int64_t place) const
{
    const Nanoseconds time = av_rescale(place, kSecond * m_plan.frameRate.den, m_plan.frameRate.num);
    return time < 0 ? kEndOfTime : time; // out of range
}

} // namespace host
