#include "Common/Image/StripSampler.h"

#include <cstring>

namespace
{

// A step of rows from which both stages in one cost less than a row that is sampled for two.
constexpr uint32_t kFusedFrom = kOne * 11 / 8;

bool IsOneRow(const RowPair& rows)
{
    return rows.fraction == 0 || rows.upper == rows.lower;
}

} // namespace

StripSampler::StripSampler(const ColumnLine& line, uint32_t stepY, const Ahead& pitches, int first, int columns)
    : m_table(ScaleRows()), m_fused(stepY >= kFusedFrom), m_prefetch(stepY, pitches),
      m_map(line, first, columns, m_prefetch.SourceAhead(), m_table)
{
}

void StripSampler::Write(const RowPair& rows, unsigned char* out)
{
    PrefetchCopy(rows.upper);
    if (rows.lower)
        Mix(rows, out);
    else
        Pick(rows.upper, out);
}

const unsigned char* StripSampler::Row(const RowPair& rows)
{
    if (!rows.lower || IsOneRow(rows))
        return Sampled(rows.upper, !rows.lower);
    PrefetchCopy(rows.upper);
    Mix(rows, m_row);
    return m_row;
}

// Where columns are those of the source, no row function asks for what follows.
void StripSampler::PrefetchCopy(const unsigned char* row) const
{
    if (m_map.IsCopy())
        m_prefetch.Source(m_map.CopyOf(row), m_map.Bytes());
}

// The bytes of the row at the strip's columns.
const unsigned char* StripSampler::Sampled(const unsigned char* row, bool picked)
{
    if (m_map.IsCopy())
        return m_map.CopyOf(row);
    return m_cache.Sampled(row, picked, [&](unsigned char* bytes) {
        (picked ? m_table.pick : m_table.mixColumns)(m_map.Prepared(), row, bytes);
    });
}

void StripSampler::Pick(const unsigned char* row, unsigned char* out)
{
    if (m_map.PixelBytes() > 1)
        m_prefetch.Target(out, m_map.Bytes());
    if (m_map.IsCopy())
        std::memcpy(out, m_map.CopyOf(row), static_cast<size_t>(m_map.Bytes()));
    else if (const unsigned char* written = m_cache.Written(row))
        std::memcpy(out, written, static_cast<size_t>(m_map.Bytes()));
    else
        m_table.pick(m_map.Prepared(), row, out);
    m_cache.KeepWritten(row, out);
}

void StripSampler::Mix(const RowPair& rows, unsigned char* out)
{
    if (IsOneRow(rows)) {
        std::memcpy(out, Sampled(rows.upper, false), static_cast<size_t>(m_map.Bytes()));
    } else if (m_fused && !m_map.IsCopy()) {
        m_table.mixQuads(m_map.Prepared(), rows, out);
    } else {
        MixSampled({Sampled(rows.upper, false), Sampled(rows.lower, false), rows.fraction}, out);
    }
}

// Rows of the source itself are not read beyond their ends.
void StripSampler::MixSampled(const RowPair& rows, unsigned char* out)
{
    const int bytes = m_map.Bytes(), units = m_map.IsCopy() ? bytes / kRowUnit * kRowUnit : bytes;
    const auto mix = m_map.PixelBytes() == 1 ? &ScaleRowTable::mixRows : &ScaleRowTable::mixPixelRows;
    (m_table.*mix)(rows, out, units, m_prefetch.TargetAhead());
    if (units < bytes)
        (PlainScaleRows().*mix)({rows.upper + units, rows.lower + units, rows.fraction}, out + units, bytes - units, 0);
}
