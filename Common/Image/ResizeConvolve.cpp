// Cubic convolution of 4-byte pixels with 4 by 4 taps. There is no widening of the kernel when reducing: four columns
// and rows around a position count, and the smoothing switches are the only reaction to the scale.
#include "Common/Image/ConvolveRows.h"
#include "Common/Image/ImageResize.h"
#include "Common/Image/ScaleWalk.h"

#include <algorithm>

namespace
{

// On from double size and from half size on.
bool IsSmooth(uint32_t step)
{
    return step < 2049 || step > 8191;
}

// The last source rows that were filtered at a strip's columns. Tap rows of a position are neighbours, and those of the
// next one lie no higher: four are enough for filtering each once.
class FilteredRing
{
public:
    FilteredRing(const IMG_PARAM& src, const ColumnStrip& strip) : m_src(src), m_strip(strip) {}

    // row: counted from the source rectangle's top. Good until a row more than three away is asked for.
    const int16_t* Row(const ConvolveTable& functions, int row)
    {
        const int slot = row % kRows;
        if (m_rows[slot] != row) {
            // A strip meets a short piece of each row, and the processor can't predict where the next one begins.
            const unsigned char* next = Source(std::min(row + 1, m_src.cy - 1));
            const int last = m_strip.offsets[m_strip.count - 1] + kBytesPerPixel; // of tap 1, which is never clamped
            for (int i = std::max(m_strip.offsets[0], 0); i <= last; i += kCacheLine)
                __builtin_prefetch(next + i);
            functions.filterColumns(m_strip, Source(row), m_words[slot]);
            m_rows[slot] = row;
        }
        return m_words[slot];
    }

private:
    static constexpr int kRows = 4;
    static constexpr int kCacheLine = 64;

    const unsigned char* Source(int row) const
    {
        return BottomUp::Row(m_src, int64_t{m_src.y} + row) + ptrdiff_t{m_src.x} * kBytesPerPixel;
    }

    const IMG_PARAM& m_src;
    const ColumnStrip& m_strip;
    int m_rows[kRows] = {-1, -1, -1, -1}; // which one each slot holds
    alignas(kLongestVector) int16_t m_words[kRows][kStripColumns * kBytesPerPixel];
};

void ConvolveStrip(const IMG_PARAM& src, IMG_PARAM& dst, const ColumnStrip& strip, int firstColumn, uint32_t stepY)
{
    const ConvolveTable& functions = ConvolveRows();
    FilteredRing ring(src, strip);
    const int last = src.cy - 1;
    for (int r = 0; r < dst.cy; ++r) {
        const uint32_t position = static_cast<uint32_t>(r) * stepY;
        const int y = static_cast<int>(Whole(position));
        // Tap rows stop at the rectangle's edges, each in its own way: the fourth falls back on the row itself, already
        // on the last but one.
        const int taps[4] = {std::max(y - 1, 0), y, std::min(y + 1, last), y + 2 <= last ? y + 2 : y};
        FilteredRows rows = {{}, Fraction(position), IsSmooth(stepY)};
        for (int i = 0; i < 4; ++i)
            rows.taps[i] = ring.Row(functions, taps[i]);
        unsigned char* out = BottomUp::Row(dst, int64_t{dst.y} + r) + (ptrdiff_t{dst.x} + firstColumn) * kBytesPerPixel;
        functions.filterRows(rows, out, strip.count);
    }
}

} // namespace

int DIB_ResizeConvolve(const IMG_PARAM& src, IMG_PARAM& dst)
{
    if (!CanScale(src, dst))
        return 0;
    const Steps step(src, dst);
    alignas(kLongestVector) unsigned char memory[kPreparedStripBytes];
    for (int c = 0; c < dst.cx; c += kStripColumns) {
        ColumnStrip strip(static_cast<uint32_t>(c) * step.x, step.x, std::min(kStripColumns, dst.cx - c), src.cx - 1,
                          IsSmooth(step.x), memory);
        ConvolveRows().prepare(strip);
        ConvolveStrip(src, dst, strip, c, step.y);
    }
    return 1;
}
