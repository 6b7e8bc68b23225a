#include "host/job/TimeMerge.h"

namespace host
{

namespace
{

// What is read ahead of the other stream at most: a file may hold its streams one behind the other.
constexpr size_t kMostPictures = 24;
constexpr size_t kMostSamples = 4'000'000; // of all channels, 40 seconds of 48 kHz stereo

} // namespace

TimeMerge::TimeMerge(Source* video, Source* audio)
    : m_videoSource(video), m_audioSource(audio), m_videoEnded(!video), m_audioEnded(!audio)
{
}

FirstTimes TimeMerge::First()
{
    ReadAhead();
    const auto time = [](const std::deque<Item>& items) {
        return items.empty() ? std::nullopt : std::optional(items.front().time);
    };
    return {time(m_pictures), time(m_blocks)};
}

FirstTimes TimeMerge::StatedFirst() const
{
    return {m_videoSource ? m_videoSource->First().picture : std::nullopt,
            m_audioSource ? m_audioSource->First().block : std::nullopt};
}

Item TimeMerge::Next()
{
    ReadAhead();
    if (m_pictures.empty() && m_blocks.empty())
        return {};
    const bool isPicture =
        m_blocks.empty() || (!m_pictures.empty() && m_pictures.front().time <= m_blocks.front().time);
    std::deque<Item>& queue = isPicture ? m_pictures : m_blocks;
    Item item = std::move(queue.front());
    queue.pop_front();
    m_samples -= item.samples.size();
    return item;
}

void TimeMerge::Stop()
{
    for (Source* source : {m_videoSource, m_audioSource})
        if (source)
            source->Stop();
}

// Reads until both streams show their next piece, or one can wait for the other no longer.
void TimeMerge::ReadAhead()
{
    while (!IsFull()) {
        if (m_pictures.empty() && !m_videoEnded)
            ReadFrom(*m_videoSource);
        else if (m_blocks.empty() && !m_audioEnded)
            ReadFrom(*m_audioSource);
        else
            return;
    }
}

bool TimeMerge::IsFull() const
{
    return m_pictures.size() >= kMostPictures || m_samples >= kMostSamples;
}

void TimeMerge::ReadFrom(Source& source)
{
    Item item = source.Next();
    m_samples += m_audioSource ? item.samples.size() : 0;
    switch (item.kind) {
    case Item::Kind::kEnd:
        m_videoEnded = m_videoEnded || &source == m_videoSource;
        m_audioEnded = m_audioEnded || &source == m_audioSource;
        return;
    case Item::Kind::kPicture:
        if (m_videoSource)
            m_pictures.push_back(std::move(item));
        return;
    case Item::Kind::kAudio:
        if (m_audioSource)
            m_blocks.push_back(std::move(item));
        return;
    }
}

} // namespace host
