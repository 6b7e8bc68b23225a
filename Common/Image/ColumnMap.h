// Where the columns of a target row lie in a source row, strip by strip.
#ifndef ENCMGR_COLUMN_MAP_H
#define ENCMGR_COLUMN_MAP_H

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
    int extra;         // columns after each strip that are sampled as well

    int ColumnsOfStrip() const { return kStripBytes / pixelBytes - extra; }
};

// Column c at c * step.
ColumnLine FormulaColumns(int pixelBytes, int sourceColumns, uint32_t step, bool mixed);
// Samples that stand twice at luma positions: on an even one both halves are the same sample.
ColumnLine ChromaColumns(int sourceColumns, uint32_t start, uint32_t step, bool mixed);
// Source size over target size with a half-step offset.
ColumnLine TableColumns(int sourceColumns, int targetColumns);

// Entry i of a table that maps `target` positions onto `source` ones, by source size over target size with half a step
// of offset; the last one is forced. From four-fold enlargement on the quotient can come out one past the end and is
// clamped to it.
int32_t TableEntry(int i, int source, int target);

// The columns of one strip, and what the active set prepared from them.
class ColumnMap
{
public:
    // The strip from column `first` on, of `columns` in all. ahead: as in Columns.
    ColumnMap(const ColumnLine& line, int first, int columns, ptrdiff_t ahead, const ScaleRowTable& functions);
    ColumnMap(const ColumnMap&) = delete;
    ColumnMap& operator=(const ColumnMap&) = delete;

    int First() const { return m_first; }
    int Count() const { return m_count; } // without extra ones
    int Bytes() const { return m_bytes; }
    int PixelBytes() const { return m_columns.pixelBytes; }
    // Columns are those of the source, one by one: the strip lies in the row as it is, from CopyOf on.
    bool IsCopy() const { return m_isCopy; }
    const unsigned char* CopyOf(const unsigned char* row) const
    {
        return row + ptrdiff_t{m_columns.index[0]} * m_columns.pixelBytes;
    }
    // For row functions, unless the strip is a copy.
    const Columns& Prepared() const { return m_columns; }

private:
    int m_first;
    int m_count;
    int m_bytes;
    bool m_isCopy;
    Columns m_columns;
    alignas(kLongestVector) unsigned char m_prepared[kPreparedColumnBytes];
};

#endif // ENCMGR_COLUMN_MAP_H
