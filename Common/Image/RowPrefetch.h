// What a strip will need next, and how far ahead it is asked for.
#ifndef ENCMGR_ROW_PREFETCH_H
#define ENCMGR_ROW_PREFETCH_H

#include "Common/Image/ScaleRows.h"
#include "Common/Prefetch.h"

#include <algorithm>

class RowPrefetch
{
public:
    // stepY: from one target row to the next, as a position. pitches: in bytes.
    RowPrefetch(uint32_t stepY, const Ahead& pitches)
        : m_source(static_cast<ptrdiff_t>(static_cast<size_t>(pitches.row) * RowsAhead(stepY))),
          m_target(pitches.target)
    {
    }

    ptrdiff_t SourceAhead() const { return m_source; }
    ptrdiff_t TargetAhead() const { return m_target; }
    void Source(const unsigned char* strip, int bytes) const { PrefetchBytes(strip, m_source, bytes); }
    void Target(const unsigned char* strip, int bytes) const { PrefetchBytes(strip, m_target, bytes); }

private:
    // About what the source of four target rows spans, so that memory has time to answer.
    static size_t RowsAhead(uint32_t stepY) { return std::max<uint32_t>(Whole(4 * stepY), 1); }

    ptrdiff_t m_source;
    ptrdiff_t m_target;
};

#endif // ENCMGR_ROW_PREFETCH_H
