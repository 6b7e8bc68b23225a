#include "Common/Image/StripSampler.h"

#include <algorithm>
#include <cstring>

namespace
{

void FillFormula(const ColumnLine& line, int first, Columns& columns)
{
    for (int c = 0; c < columns.count; ++c) {
        const uint32_t position = line.start + static_cast<uint32_t>(first + c) * line.step;
        columns.index[c] = static_cast<int32_t>(Whole(position));
        columns.fraction[c] = static_cast<uint16_t>(line.mixed ? Fraction(position) : 0);
    }
    // A column behind the target's last one is held to the row.
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

bool IsOneRow(const RowPair& rows)
{
    return rows.fraction == 0 || rows.upper == rows.lower;
}

// Asks for a piece of the row `ahead` bytes behind. A call would be dropped, since it seems to have no effect.
[[gnu::always_inline]] inline void FetchBytes(const unsigned char* row, ptrdiff_t ahead, ptrdiff_t bytes)
{
    constexpr uintptr_t kCacheLine = 64;
    const uintptr_t address = reinterpret_cast<uintptr_t>(row) + static_cast<uintptr_t>(ahead);
    for (uintptr_t i = 0; i < static_cast<uintptr_t>(bytes); i += kCacheLine)
        __builtin_prefetch(reinterpret_cast<const void*>(address + i));
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

StripSampler::StripSampler(const ColumnLine& line, uint32_t stepY, const Ahead& pitches, int first, int columns)
    : m_table(ScaleRows()), m_first(first), m_count(std::min(columns - first, ColumnsOf(line))),
      m_targetPitch(pitches.target), m_bytes(m_count * line.pixelBytes), m_fused(stepY >= 2 * kOne)
{
    m_columns.count = m_count + line.extra;
    m_columns.pixelBytes = line.pixelBytes;
    m_columns.prepared = m_prepared;
    m_columns.rowBytes = line.sourceColumns * line.pixelBytes;
    // About what the source of four target rows spans, so that memory has time to answer.
    const size_t rowsAhead = std::max<uint32_t>(Whole(4 * stepY), 1);
    m_columns.ahead = static_cast<ptrdiff_t>(static_cast<size_t>(pitches.row) * rowsAhead);
    line.fill(line, first, m_columns);
    m_copied = IsPlainCopy();
    if (!m_copied)
        m_table.prepare(m_columns, !line.mixed);
    for (Strip& strip : m_strips)
        strip.row = nullptr;
}

bool StripSampler::IsPlainCopy() const
{
    for (int c = 0; c < m_columns.count; ++c)
        if (m_columns.index[c] != m_columns.index[0] + c || m_columns.fraction[c] != 0)
            return false;
    return true;
}

void StripSampler::Write(const RowPair& rows, unsigned char* out)
{
    FetchCopied(rows.upper);
    if (rows.lower)
        Mix(rows, out);
    else
        Pick(rows.upper, out);
}

const unsigned char* StripSampler::Row(const RowPair& rows)
{
    if (!rows.lower || IsOneRow(rows))
        return Sampled(rows.upper, !rows.lower);
    FetchCopied(rows.upper);
    Mix(rows, m_row);
    return m_row;
}

// Where columns are those of the source, no row function asks for what follows.
void StripSampler::FetchCopied(const unsigned char* row) const
{
    if (m_copied)
        FetchBytes(row + ptrdiff_t{m_columns.index[0]} * m_columns.pixelBytes, m_columns.ahead, m_bytes);
}

// The bytes of the row at the strip's columns. Of the two strips the one used last is kept.
const unsigned char* StripSampler::Sampled(const unsigned char* row, bool picked)
{
    if (m_copied)
        return row + ptrdiff_t{m_columns.index[0]} * m_columns.pixelBytes;
    for (int i = 0; i < 2; ++i)
        if (m_strips[i].row == row && m_strips[i].picked == picked) {
            m_recent = i;
            return m_strips[i].bytes;
        }
    m_recent = 1 - m_recent;
    Strip& strip = m_strips[m_recent];
    strip.row = row;
    strip.picked = picked;
    (picked ? m_table.pick : m_table.mixColumns)(m_columns, row, strip.bytes);
    return strip.bytes;
}

void StripSampler::Pick(const unsigned char* row, unsigned char* out)
{
    if (m_columns.pixelBytes > 1)
        FetchBytes(out, m_targetPitch, m_bytes);
    if (m_copied)
        std::memcpy(out, Sampled(row, true), static_cast<size_t>(m_bytes));
    else if (row == m_pickedRow)
        std::memcpy(out, m_pickedTo, static_cast<size_t>(m_bytes));
    else
        m_table.pick(m_columns, row, out);
    m_pickedRow = row;
    m_pickedTo = out;
}

void StripSampler::Mix(const RowPair& rows, unsigned char* out)
{
    if (IsOneRow(rows)) {
        std::memcpy(out, Sampled(rows.upper, false), static_cast<size_t>(m_bytes));
    } else if (m_fused && !m_copied) {
        m_table.mixQuads(m_columns, rows, out);
    } else {
        MixSampled({Sampled(rows.upper, false), Sampled(rows.lower, false), rows.fraction}, out);
    }
}

// Rows of the source itself are not read beyond their ends.
void StripSampler::MixSampled(const RowPair& rows, unsigned char* out)
{
    const int units = m_copied ? m_bytes / kRowUnit * kRowUnit : m_bytes;
    const auto mix = m_columns.pixelBytes == 1 ? &ScaleRowTable::mixRows : &ScaleRowTable::mixPixelRows;
    (m_table.*mix)(rows, out, units, m_targetPitch);
    if (units < m_bytes)
        (PlainScaleRows().*mix)({rows.upper + units, rows.lower + units, rows.fraction}, out + units, m_bytes - units,
                                0);
}
