// One sequence of pictures and audio blocks in the order of time, from one source or two.
#ifndef ENCMGR_HOST_TIME_MERGE_H
#define ENCMGR_HOST_TIME_MERGE_H

#include "host/sources/Source.h"

#include <deque>

namespace host
{

class TimeMerge
{
public:
    // Null for a stream that isn't used; the same source for both if it holds both. They outlive the merge.
    TimeMerge(Source* video, Source* audio);

    // For a start of the common clock. Reads ahead as far as Next does, so that a stream which begins far behind the
    // other gives nothing yet.
    FirstTimes First();

    // The same without reading, as the sources state it.
    FirstTimes StatedFirst() const;

    Item Next();

    // Nothing more is asked for.
    void Stop();

private:
    void ReadAhead();
    bool IsFull() const;
    void ReadFrom(Source& source);

    Source* m_videoSource;
    Source* m_audioSource;
    bool m_videoEnded;
    bool m_audioEnded;
    std::deque<Item> m_pictures;
    std::deque<Item> m_blocks;
    size_t m_samples = 0; // in m_blocks
};

} // namespace host

#endif // ENCMGR_HOST_TIME_MERGE_H
