#include "Common/Image/ConvolveRows.h"

#include "Common/Image/ScaleRows.h"

#include <algorithm>

namespace
{

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

struct Weights {
    double of[4];
};

constexpr Weights WeightsOf(uint32_t fraction)
{
    const double t = fraction / static_cast<double>(kOne);
    return {{CubicFar(1.0 + t), CubicNear(t), CubicNear(1.0 - t), CubicFar(2.0 - t)}};
}

// Of all weights: steps of 2^-36 are exact, and four bytes filtered with them and rounded lie between -64 and 319.
constexpr bool AreExactAndBounded()
{
    for (uint32_t fraction = 0; fraction < kOne; ++fraction) {
        double low = 0.5, high = 0.5;
        for (const double weight : WeightsOf(fraction).of) {
            (weight < 0 ? low : high) += 255 * weight;
            if (static_cast<double>(WeightInSteps(weight)) != weight * 0x1p36)
                return false;
        }
        if (static_cast<int>(low) < -64 || static_cast<int>(high) > 319)
            return false;
    }
    return true;
}
static_assert(AreExactAndBounded());

void Prepare(ColumnStrip&) {}

void FilterColumn(const ColumnStrip& strip, int column, const unsigned char* row, int16_t* out)
{
    const unsigned char* pixels[4];
    for (int i = 0; i < 4; ++i)
        pixels[i] = row + std::clamp(strip.offsets[column] + i * kBytesPerPixel, 0, strip.lastColumn * kBytesPerPixel);
    for (int k = 0; k < 3; ++k) {
        const int taps[4] = {pixels[0][k], pixels[1][k], pixels[2][k], pixels[3][k]};
        out[k] = static_cast<int16_t>(Convolve(taps, strip.weights[column], strip.smooth) + kFilteredBias);
    }
    out[3] = static_cast<int16_t>(pixels[1][3] + kFilteredBias);
}

} // namespace

void CubicWeights(uint32_t fraction, double (&weights)[4])
{
    std::copy_n(WeightsOf(fraction).of, 4, weights);
}

void CubicWeightsInSteps(uint32_t fraction, int64_t (&weights)[4])
{
    const Weights exact = WeightsOf(fraction);
    std::transform(exact.of, exact.of + 4, weights, WeightInSteps);
}

ColumnStrip::ColumnStrip(uint32_t position, uint32_t step, int columns, int last, bool smoothed, unsigned char* memory)
    : count(columns), lastColumn(last), smooth(smoothed), prepared(memory)
{
    for (int c = 0; c < count; ++c, position += step) {
        offsets[c] = (static_cast<int32_t>(Whole(position)) - 1) * kBytesPerPixel;
        CubicWeights(Fraction(position), weights[c]);
    }
}

void FilterColumns(const ColumnStrip& strip, const unsigned char* row, int16_t* out)
{
    for (int c = 0; c < strip.count; ++c)
        FilterColumn(strip, c, row, out + ptrdiff_t{c} * kBytesPerPixel);
}

void FilterRows(const FilteredRows& rows, unsigned char* dst, int count)
{
    double weights[4];
    CubicWeights(rows.fraction, weights);
    for (int i = 0; i < count * kBytesPerPixel; i += kBytesPerPixel) {
        for (int k = i; k < i + 3; ++k) {
            const int taps[4] = {rows.taps[0][k] - kFilteredBias, rows.taps[1][k] - kFilteredBias,
                                 rows.taps[2][k] - kFilteredBias, rows.taps[3][k] - kFilteredBias};
            dst[k] = static_cast<unsigned char>(std::clamp(Convolve(taps, weights, rows.smooth), 0, 255));
        }
        dst[i + 3] = static_cast<unsigned char>(rows.taps[1][i + 3] - kFilteredBias);
    }
}

const ConvolveTable& ConvolveRows()
{
    constexpr ConvolveTable plain = {Prepare, FilterColumns, FilterRows};
#if ENCMGR_X86_SETS >= 3
    static const RowTables<ConvolveTable> tables(
        plain, {OverwriteConvolveSse41, OverwriteConvolveAvx2, OverwriteConvolveAvx512});
#elif ENCMGR_X86_SETS
    static const RowTables<ConvolveTable> tables(plain, {OverwriteConvolveSse41, OverwriteConvolveAvx2});
#else
    static const RowTables<ConvolveTable> tables(plain, {});
#endif
    return tables.Active();
}
