#include "Common/Image/ColumnMap.h"

#include <algorithm>

namespace
{

void FillFormula(const ColumnLine& line, int first, Columns& columns)
{
    for (int c = 0; c < columns.count; ++c) {
        const uint32_t position = line.start + static_cast<uint32_t>(first + c) * line.step;
        columns.index[c] = static_cast<int32_t>(Whole(position));
        columns.fraction[c] = static_cast<uint16_t>(line.mixed ? Fraction(position) : 0);
    }
    // A column after the target's last one is clamped to the row.
    int32_t& last = columns.index[columns.count - 1];
    last = std::min(last, line.sourceColumns - 1);
}

void FillChroma(const ColumnLine& line, int first, Columns& columns)
{
    for (int c = 0; c < columns.count; ++c) {
        const uint32_t position = line.start + static_cast<uint32_t>(first + c) * line.step;
        columns.index[c] = static_cast<int32_t>(Whole(position) / 2);
        columns.fraction[c] = static_cast<uint16_t>(Whole(position) % 2 != 0 ? Fraction(position) : 0);
    }
}

void FillTable(const ColumnLine& line, int first, Columns& columns)
{
    for (int c = 0; c < columns.count; ++c) {
        columns.index[c] = TableEntry(first + c, line.sourceColumns, line.targetColumns);
        columns.fraction[c] = 0;
    }
}

bool IsPlainCopy(const Columns& columns)
{
    for (int c = 0; c < columns.count; ++c)
        if (columns.index[c] != columns.index[0] + c || columns.fraction[c] != 0)
            return false;
    return true;
}

} // namespace

int32_t TableEntry(int i, int source, int target)
{
    if (i == target - 1)
        return source - 1;
    const int64_t index = (target / 2 + int64_t{i} * source) / target;
    return static_cast<int32_t>(std::min<int64_t>(index, source - 1));
}

ColumnLine FormulaColumns(int pixelBytes, int sourceColumns, uint32_t step, bool mixed)
{
    return {pixelBytes, sourceColumns, mixed, FillFormula, 0, step, 0, 0};
}

ColumnLine ChromaColumns(int sourceColumns, uint32_t start, uint32_t step, bool mixed)
{
    return {1, sourceColumns, mixed, FillChroma, start, step, 0, 0};
}

ColumnLine TableColumns(int sourceColumns, int targetColumns)
{
    return {1, sourceColumns, false, FillTable, 0, 0, targetColumns, 0};
}

ColumnMap::ColumnMap(const ColumnLine& line, int first, int columns, ptrdiff_t ahead, const ScaleRowTable& functions)
    : m_first(first), m_count(std::min(columns - first, line.ColumnsOfStrip())), m_bytes(m_count * line.pixelBytes)
{
    m_columns.count = m_count + line.extra;
    m_columns.pixelBytes = line.pixelBytes;
    m_columns.rowBytes = line.sourceColumns * line.pixelBytes;
    m_columns.ahead = ahead;
    m_columns.prepared = m_prepared;
    line.fill(line, first, m_columns);
    m_isCopy = IsPlainCopy(m_columns);
    if (!m_isCopy)
        functions.prepare(m_columns, !line.mixed);
}
