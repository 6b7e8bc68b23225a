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
            if (m_rows[i] == row && m_picked[i] == picked) {
                m_recent = i;
                return m_bytes[i];
            }
        m_recent = 1 - m_recent;
        m_rows[m_recent] = row;
        m_picked[m_recent] = picked;
        sample(m_bytes[m_recent]);
        return m_bytes[m_recent];
    }

    // Where a row was picked to, if that was what the strip wrote last; else null.
    const unsigned char* Written(const unsigned char* row) const { return row == m_writtenRow ? m_writtenTo : nullptr; }
    void KeepWritten(const unsigned char* row, const unsigned char* to)
    {
        m_writtenRow = row;
        m_writtenTo = to;
    }

private:
    const unsigned char* m_rows[2] = {};
    bool m_picked[2] = {};
    int m_recent = 0;
    const unsigned char* m_writtenRow = nullptr;
    const unsigned char* m_writtenTo = nullptr;
    alignas(kLongestVector) unsigned char m_bytes[2][kStripBytes];
};

#endif // ENCMGR_ROW_CACHE_H
