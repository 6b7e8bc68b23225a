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

// One byte of a pixel between two columns and two rows.
uint32_t MixQuad(const RowPair& rows, size_t left, size_t right, uint32_t fraction)
{
    const uint32_t top = Mix(rows.upper[left], rows.upper[right], fraction);
    const uint32_t bottom = Mix(rows.lower[left], rows.lower[right], fraction);
    return Mix(top, bottom, rows.fraction);
}

// A colour laid over another by an opacity of 0 to 255.
constexpr unsigned char Overlay(uint32_t opacity, uint32_t over, uint32_t under)
{
    return static_cast<unsigned char>((opacity * over + (255 - opacity) * under) / 255);
}

void CutByMask(uint32_t mask, unsigned char* pixel, uint32_t opacity)
{
    if (mask == 0)
        std::memset(pixel, 0, kBytesPerPixel);
    else
        pixel[3] = static_cast<unsigned char>(opacity);
}

// The point of four taps between the inner two: weighted, with a half added before the fraction is dropped toward zero.
// Smoothing first averages each inner tap with its point on the line between the outer ones.
int Convolve(const int (&taps)[4], const double (&weights)[4], bool smooth)
{
    int inner1 = taps[1];
    int inner2 = taps[2];
    if (smooth) {
        const int rise = taps[3] - taps[0];
        inner1 = (taps[0] + inner1 + rise / 3) / 2;
        inner2 = (taps[0] + inner2 + 2 * rise / 3) / 2;
    }
    return static_cast<int>(taps[0] * weights[0] + inner1 * weights[1] + inner2 * weights[2] + taps[3] * weights[3] +
                            0.5);
}

constexpr double CubicNear(double d) // distances up to 1, where both forms are 0
{
    return d * d * d - 2.0 * d * d + 1.0;
}

constexpr double CubicFar(double d) // distances from 1 to 2
{
    return -(d * d * d) + 5.0 * d * d - 8.0 * d + 4.0;
}

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
        dst[c] = static_cast<unsigned char>(MixQuad(rows, at.left, at.right, at.fraction));
    }
}

void BlendRow32(const RowPair& rows, unsigned char* dst, int count, uint32_t step)
{
    uint32_t position = 0;
    for (int c = 0; c < count; ++c, position += step, dst += kBytesPerPixel) {
        const ColumnPair at(position);
        const size_t left = size_t{at.left} * kBytesPerPixel;
        const size_t right = size_t{at.right} * kBytesPerPixel;
        for (size_t k = 0; k < 3; ++k)
            dst[k] = static_cast<unsigned char>(MixQuad(rows, left + k, right + k, at.fraction));
        dst[3] = rows.upper[left + 3];
    }
}

// As if each sample stood twice: on an even luma column both halves are the same sample.
void BlendRowUV(const RowPair& rows, unsigned char* dst, int count, ColumnWalk columns)
{
    uint32_t position = columns.start;
    for (int c = 0; c < count; ++c, position += columns.step) {
        const ColumnPair at(position);
        dst[c] = static_cast<unsigned char>(MixQuad(rows, at.left / 2, at.right / 2, at.fraction));
    }
}

void OverlayBlendRow32(const RowPair& rows, unsigned char* dst, int count, uint32_t step)
{
    uint32_t position = 0;
    for (int c = 0; c < count; ++c, position += step, dst += kBytesPerPixel) {
        const ColumnPair at(position);
        const size_t left = size_t{at.left} * kBytesPerPixel;
        const size_t right = size_t{at.right} * kBytesPerPixel;
        const uint32_t opacity = rows.upper[left + 3];
        for (size_t k = 0; k < 3; ++k)
            dst[k] = Overlay(opacity, MixQuad(rows, left + k, right + k, at.fraction), dst[k]);
        dst[3] = static_cast<unsigned char>(opacity + dst[3] * (255 - opacity) / 255);
    }
}

void OverlayNearRow32(const unsigned char* src, unsigned char* dst, int count, uint32_t step)
{
    uint32_t position = 0;
    for (int c = 0; c < count; ++c, position += step, dst += kBytesPerPixel) {
        const unsigned char* pixel = src + size_t{Whole(position)} * kBytesPerPixel;
        for (int k = 0; k < 3; ++k)
            dst[k] = Overlay(pixel[3], pixel[k], dst[k]);
    }
}

void MaskReplaceRow(const unsigned char* mask, unsigned char* dst, int count, uint32_t step)
{
    uint32_t position = 0;
    for (int c = 0; c < count; ++c, position += step, dst += kBytesPerPixel)
        CutByMask(mask[Whole(position)], dst, mask[Whole(position)]);
}

void MaskBlendRow(const RowPair& mask, unsigned char* dst, int count, uint32_t step)
{
    uint32_t position = 0;
    for (int c = 0; c < count; ++c, position += step, dst += kBytesPerPixel) {
        const ColumnPair at(position);
        const uint32_t m = MixQuad(mask, at.left, at.right, at.fraction);
        CutByMask(m, dst, m * dst[3] / 255);
    }
}

void MaskNearRow(const unsigned char* mask, unsigned char* dst, int count, uint32_t step)
{
    uint32_t position = 0;
    for (int c = 0; c < count; ++c, position += step, dst += kBytesPerPixel) {
        const uint32_t m = mask[Whole(position)];
        CutByMask(m, dst, m * dst[3] / 255);
    }
}

void CubicWeights(uint32_t fraction, double (&weights)[4])
{
    const double t = fraction / static_cast<double>(kOne);
    weights[0] = CubicFar(1.0 + t);
    weights[1] = CubicNear(t);
    weights[2] = CubicNear(1.0 - t);
    weights[3] = CubicFar(2.0 - t);
}

void ConvolveRow32(const ConvolveRows& taps, unsigned char* dst, int count, uint32_t step)
{
    uint32_t position = 0;
    for (int c = 0; c < count; ++c, position += step, dst += kBytesPerPixel) {
        const int x = static_cast<int>(Whole(position));
        const int columns[4] = {std::max(x - 1, 0), x, std::min(x + 1, taps.lastColumn),
                                std::min(x + 2, taps.lastColumn)};
        double weights[4];
        CubicWeights(Fraction(position), weights);
        for (int k = 0; k < 3; ++k) {
            int filtered[4];
            for (int i = 0; i < 4; ++i) {
                int samples[4];
                for (int j = 0; j < 4; ++j)
                    samples[j] = taps.rows[i][kBytesPerPixel * columns[j] + k];
                filtered[i] = Convolve(samples, weights, taps.smoothX);
            }
            const int value = Convolve(filtered, taps.weights, taps.smoothY);
            dst[k] = static_cast<unsigned char>(std::clamp(value, 0, 255));
        }
        dst[3] = taps.rows[1][kBytesPerPixel * x + 3];
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
