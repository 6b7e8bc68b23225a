#include "host/job/Tally.h"

#include "host/job/JobPlan.h"
#include "host/job/OutputFile.h"

#include <algorithm>
#include <utility>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace host
{

namespace
{

// Audio alone has no places; its blocks are shorter.
constexpr AVRational kRateWithoutPictures = {10, 1};

} // namespace

Tally::Tally(const JobPlan& plan, const OutputFile& output)
    : m_output(output), m_timeline(plan.hasVideo ? plan.frameRate : kRateWithoutPictures)
{
}

void Tally::WritePictures(int64_t lastPlace, int copies, bool isRepeat)
{
    for (int64_t place = lastPlace - copies + 1; place <= lastPlace; ++place, isRepeat = true) {
        Timeline::Bucket& bucket = m_timeline.AtPlace(place);
        ++bucket.written;
        bucket.repeated += isRepeat;
        m_repeatedRun = isRepeat ? m_repeatedRun + 1 : 0;
        m_counts.repeated += isRepeat;
        m_counts.largestRepeated = std::max(m_counts.largestRepeated, m_repeatedRun);
    }
    m_counts.pictures += copies;
    if (copies > 0)
        NoteGrowth(m_timeline.IndexOfPlace(lastPlace));
}

void Tally::DropPictures(Nanoseconds time, int64_t count, int64_t largestRun)
{
    if (count <= 0)
        return;
    m_timeline.At(time).dropped += count;
    m_counts.taken += count;
    m_counts.dropped += count;
    m_counts.largestDropped = std::max(m_counts.largestDropped, largestRun);
}

void Tally::WriteAudio(Nanoseconds time, int64_t samplesIn, int64_t samplesMade, int64_t samplesWritten)
{
    const int64_t filled = std::max<int64_t>(samplesWritten - samplesMade, 0);
    const int64_t cut = std::max<int64_t>(samplesMade - samplesWritten, 0);
    m_audio.samplesIn += samplesIn;
    m_audio.samplesOut += samplesWritten;
    m_audio.filled += filled;
    m_audio.cut += cut;
    m_audio.gaps += filled > 0;
    m_audio.droppedBlocks += cut > 0 && samplesWritten == 0;
    const size_t last = m_timeline.IndexOf(time);
    m_timeline.Buckets()[last].cut += cut;
    if (filled > 0)
        SpreadFill(m_timeline.IndexOf(time - av_rescale(filled, kSecond, m_audio.sampleRate)), last, filled);
    NoteGrowth(last);
}

// In equal parts, up to rounding.
void Tally::SpreadFill(size_t first, size_t last, int64_t filled)
{
    for (size_t i = first; i <= last; ++i) {
        const int64_t part = filled / static_cast<int64_t>(last - i + 1);
        m_timeline.Buckets()[i].filled += part;
        filled -= part;
    }
}

void Tally::Close()
{
    m_bytesAtClose = Growth();
}

// Asks the file system once a bucket.
void Tally::NoteGrowth(size_t bucket)
{
    m_bucket = std::min(m_bucket, m_timeline.Buckets().size() - 1); // they may have become fewer
    if (bucket > m_bucket)
        m_timeline.Buckets()[std::exchange(m_bucket, bucket)].bytes += Growth();
}

uint64_t Tally::Growth()
{
    const uint64_t size = m_output.Size();
    return size > m_bytes ? size - std::exchange(m_bytes, size) : 0;
}

} // namespace host
