// Makes a strip's part of target rows from source rows.
#ifndef ENCMGR_STRIP_SAMPLER_H
#define ENCMGR_STRIP_SAMPLER_H

#include "Common/Image/ColumnMap.h"
#include "Common/Image/RowCache.h"
#include "Common/Image/RowPrefetch.h"
#include "Common/Image/ScaleRows.h"

#include <cstdint>

class StripSampler
{
public:
    // The strip from column `first` on, of `columns` in all. stepY and pitches: from one row to the next, the first in
    // positions, the others in bytes.
    StripSampler(const ColumnLine& line, uint32_t stepY, const Ahead& pitches, int first, int columns);

    int First() const { return m_map.First(); }
    int Count() const { return m_map.Count(); }
    const ScaleRowTable& Rows() const { return m_table; }

    // Writes the strip's part of a target row. What is written stays the caller's, but must stay as it is until the
    // next call.
    void Write(const RowPair& rows, unsigned char* out);
    // The same where it lies, in the source or in a buffer of the sampler's, valid until the next call.
    const unsigned char* Row(const RowPair& rows);
    // From what Row tells, and from target rows, to those that follow.
    Ahead RowsAhead() const { return {m_map.IsCopy() ? m_prefetch.SourceAhead() : 0, m_prefetch.TargetAhead()}; }
    // The columns of one source row, valid until two other rows were sampled.
    const unsigned char* Picked(const unsigned char* row) { return Sampled(row, true); }

private:
    const unsigned char* Sampled(const unsigned char* row, bool picked);
    void PrefetchCopy(const unsigned char* row) const;
    void Pick(const unsigned char* row, unsigned char* out);
    void Mix(const RowPair& rows, unsigned char* out);
    void MixSampled(const RowPair& rows, unsigned char* out);

    const ScaleRowTable& m_table;
    const bool m_fused; // neighbouring target rows have no source row in common
    const RowPrefetch m_prefetch;
    const ColumnMap m_map;
    RowCache m_cache;
    alignas(kLongestVector) unsigned char m_row[kStripBytes];
};

#endif // ENCMGR_STRIP_SAMPLER_H
