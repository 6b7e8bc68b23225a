// The source rows that a strip sampled last: neighbouring target rows often lie between the same two.
#ifndef ENCMGR_ROW_CACHE_H
#define ENCMGR_ROW_CACHE_H

#include "Common/Image/ScaleRows.h"

class RowCache
{
public:
    // A row's bytes at the strip's columns, picked or mixed; sample(bytes) makes them if they aren't kept. Of the two
    // that are kept the one used last stays, so what is returned is valid until two other rows were asked for.
    template <class Sample> const unsigned char* Sampled(const unsigned char* row, bool picked, Sample sample)
    {
        for (int i = 0; i < 2; ++i)
            if (m_rows[i].row == row && m_rows[i].picked == picked) {
                m_recent = i;
                return m_rows[i].bytes;
            }
        m_recent = 1 - m_recent;
        Sampling& sampling = m_rows[m_recent];
        sampling.row = row;
        sampling.picked = picked;
        sample(sampling.bytes);
        return sampling.bytes;
    }

    // Where a row was picked to, if that was what the strip wrote last; else null.
    const unsigned char* Written(const unsigned char* row) const { return row == m_writtenRow ? m_writtenTo : nullptr; }
    void KeepWritten(const unsigned char* row, const unsigned char* to)
    {
        m_writtenRow = row;
        m_writtenTo = to;
    }

private:
    struct Sampling {
        const unsigned char* row = nullptr;
        bool picked;
        alignas(kLongestVector) unsigned char bytes[kStripBytes];
    };

    Sampling m_rows[2];
    int m_recent = 0;
    const unsigned char* m_writtenRow = nullptr;
    const unsigned char* m_writtenTo = nullptr;
};

#endif // ENCMGR_ROW_CACHE_H
