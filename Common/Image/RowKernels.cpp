#include "Common/Image/RowKernels.h"

#include <algorithm>
#include <cstring>

namespace
{

constexpr int kBytesPerPixel = 4;
constexpr int kBlackLuma = 16;

// Two whole columns between which a position lies. At a whole position the second has no weight, and is the first.
struct ColumnPair {
    uint32_t left;
    uint32_t right;
    uint32_t fraction;

    explicit constexpr ColumnPair(uint32_t position)
        : left(Whole(position)), right(left + (Fraction(position) != 0)), fraction(Fraction(position))
    {
    }
};

} // namespace

void NearRow8(const unsigned char* src, unsigned char* dst, int count, uint32_t step)
{
    uint32_t position = 0;
    for (int c = 0; c < count; ++c, position += step)
        dst[c] = src[Whole(position)];
}

void NearRow32(const unsigned char* src, unsigned char* dst, int count, uint32_t step)
{
    uint32_t position = 0;
    for (int c = 0; c < count; ++c, position += step, dst += kBytesPerPixel)
        std::memcpy(dst, src + size_t{Whole(position)} * kBytesPerPixel, kBytesPerPixel);
}

void NearRowUV(const unsigned char* src, unsigned char* dst, int count, ColumnWalk columns)
{
    uint32_t position = columns.start;
    for (int c = 0; c < count; ++c, position += columns.step)
        dst[c] = src[Whole(position) / 2];
}

void TableRow8(const unsigned char* src, unsigned char* dst, int count, const int32_t* columns)
{
    for (int c = 0; c < count; ++c)
        dst[c] = src[columns[c]];
}

void BlendRow8(const RowPair& rows, unsigned char* dst, int count, uint32_t step)
{
    uint32_t position = 0;
    for (int c = 0; c < count; ++c, position += step) {
        const ColumnPair at(position);
        const uint32_t top = Mix(rows.upper[at.left], rows.upper[at.right], at.fraction);
        const uint32_t bottom = Mix(rows.lower[at.left], rows.lower[at.right], at.fraction);
        dst[c] = static_cast<unsigned char>(Mix(top, bottom, rows.fraction));
    }
}

void BlendRow32(const RowPair& rows, unsigned char* dst, int count, uint32_t step)
{
    uint32_t position = 0;
    for (int c = 0; c < count; ++c, position += step, dst += kBytesPerPixel) {
        const ColumnPair at(position);
        const unsigned char* a = rows.upper + size_t{at.left} * kBytesPerPixel;
        const unsigned char* b = rows.upper + size_t{at.right} * kBytesPerPixel;
        const unsigned char* p = rows.lower + size_t{at.left} * kBytesPerPixel;
        const unsigned char* q = rows.lower + size_t{at.right} * kBytesPerPixel;
        for (int k = 0; k < 3; ++k) {
            const uint32_t top = Mix(a[k], b[k], at.fraction);
            const uint32_t bottom = Mix(p[k], q[k], at.fraction);
            dst[k] = static_cast<unsigned char>(Mix(top, bottom, rows.fraction));
        }
        dst[3] = a[3];
    }
}

// As if each sample stood twice: on an even luma column both halves are the same sample.
void BlendRowUV(const RowPair& rows, unsigned char* dst, int count, ColumnWalk columns)
{
    uint32_t position = columns.start;
    for (int c = 0; c < count; ++c, position += columns.step) {
        const ColumnPair at(position);
        const uint32_t left = at.left / 2;
        const uint32_t right = at.right / 2;
        const uint32_t top = Mix(rows.upper[left], rows.upper[right], at.fraction);
        const uint32_t bottom = Mix(rows.lower[left], rows.lower[right], at.fraction);
        dst[c] = static_cast<unsigned char>(Mix(top, bottom, rows.fraction));
    }
}

void MeanRow8(const unsigned char* upper, const unsigned char* lower, unsigned char* dst, int count, uint32_t step,
              uint32_t lastColumn)
{
    uint32_t left = 0;
    uint64_t position = step;
    for (int c = 0; c < count; ++c, position += step) {
        const uint32_t right = std::min(static_cast<uint32_t>(position >> kFractionBits), lastColumn);
        dst[c] = static_cast<unsigned char>((upper[left] + upper[right] + lower[left] + lower[right]) >> 2);
        left = right;
    }
}

void FillLumaMargins(unsigned char* row, int left, int width, int pitch)
{
    if (left > 0)
        std::memset(row, kBlackLuma, static_cast<size_t>(left));
    const int64_t right = int64_t{left} + width;
    if (right < pitch)
        std::memset(row + right, kBlackLuma, static_cast<size_t>(pitch - right));
}
