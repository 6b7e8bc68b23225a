// Samples source rows at a strip of columns.
#ifndef ENCMGR_STRIP_SAMPLER_H
#define ENCMGR_STRIP_SAMPLER_H

#include "Common/Image/ScaleRows.h"

#include <cstdint>

// The columns of a whole target row, from which strips take theirs.
struct ColumnLine {
    int pixelBytes;    // 1 or 4
    int sourceColumns; // pixels of a source row, which begins at position 0
    bool mixed;        // columns are mixed where a row pair has a lower row; else always picked
    // Sets indices and fractions of columns.count columns from column `first` on.
    void (*fill)(const ColumnLine& line, int first, Columns& columns);
    uint32_t start; // of the first column
    uint32_t step;
    int targetColumns; // of table columns
    int extra;         // columns behind each strip that are sampled as well
};

// Column c at c * step.
ColumnLine FormulaColumns(int pixelBytes, int sourceColumns, uint32_t step, bool mixed);
// Samples that stand twice at luma positions: on an even one both halves are the same sample.
ColumnLine ChromaColumns(int sourceColumns, uint32_t start, uint32_t step, bool mixed);
// Source size over target size with a half-step offset.
ColumnLine TableColumns(int sourceColumns, int targetColumns);

// Entry i of a table that maps `target` positions onto `source` ones, by source size over target size with half a step
// of offset; the last one is forced. From four-fold enlargement on the quotient can come out one past the end and is
// held to it.
int32_t TableEntry(int i, int source, int target);

// Makes a strip's part of target rows. The source rows that it sampled last are kept: neighbouring target rows often
// lie between the same two.
class StripSampler
{
public:
    static int ColumnsOf(const ColumnLine& line) { return kStripBytes / line.pixelBytes - line.extra; }

    // The strip from column `first` on, of `columns` in all. stepY and pitches: from one row to the next, the first in
    // positions, the others in bytes.
    StripSampler(const ColumnLine& line, uint32_t stepY, const Ahead& pitches, int first, int columns);

    int First() const { return m_first; }
    int Count() const { return m_count; }
    const ScaleRowTable& Rows() const { return m_table; }

    // Writes the strip's part of a target row. What is written stays the caller's, but must stay as it is until the
    // next call.
    void Write(const RowPair& rows, unsigned char* out);
    // The same where it lies, in the source or in a buffer of the sampler's, valid until the next call.
    const unsigned char* Row(const RowPair& rows);
    // From what Row tells, and from target rows, to those that follow.
    Ahead RowsAhead() const { return {m_copied ? m_columns.ahead : 0, m_targetPitch}; }
    // The columns of one source row, valid until two other rows were sampled.
    const unsigned char* Picked(const unsigned char* row) { return Sampled(row, true); }

private:
    struct Strip {
        const unsigned char* row;
        bool picked;
        alignas(32) unsigned char bytes[kStripBytes];
    };

    bool IsPlainCopy() const;
    const unsigned char* Sampled(const unsigned char* row, bool picked);
    void FetchCopied(const unsigned char* row) const;
    void Pick(const unsigned char* row, unsigned char* out);
    void Mix(const RowPair& rows, unsigned char* out);
    void MixSampled(const RowPair& rows, unsigned char* out);

    const ScaleRowTable& m_table;
    const int m_first;
    const int m_count;
    const ptrdiff_t m_targetPitch;
    const int m_bytes;  // of the strip's part of a target row
    const bool m_fused; // neighbouring target rows have no source row in common
    bool m_copied;      // columns are those of the source, one by one
    Columns m_columns;
    alignas(kLongestVector) unsigned char m_prepared[kPreparedColumnBytes];
    Strip m_strips[2];
    int m_recent = 0;                           // of the strips, which was used last
    const unsigned char* m_pickedRow = nullptr; // that Write picked last, and where to
    const unsigned char* m_pickedTo = nullptr;
    alignas(32) unsigned char m_row[kStripBytes];
};

#endif // ENCMGR_STRIP_SAMPLER_H
