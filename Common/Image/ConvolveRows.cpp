#include "Common/Image/ConvolveRows.h"

#include "Common/Image/ScaleRows.h"
#include "Common/InstructionSet.h"

#include <algorithm>

namespace
{

constexpr int kBytesPerPixel = 4;

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

// The digits of the weights of two taps, for each byte of a pixel.
void WriteDigits(const int64_t (&weights)[4], int digit, int pair, int8_t (&out)[8])
{
    const int shift = 30 - 6 * digit;
    for (int i = 0; i < 8; ++i) {
        const int64_t weight = weights[2 * pair + i % 2] >> shift;
        out[i] = static_cast<int8_t>(digit == 0 ? weight : weight & 63);
    }
    out[6] = 0;
    out[7] = digit == 0 && pair == 0 ? 64 : 0;
}

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
    const double t = fraction / static_cast<double>(kOne);
    weights[0] = CubicFar(1.0 + t);
    weights[1] = CubicNear(t);
    weights[2] = CubicNear(1.0 - t);
    weights[3] = CubicFar(2.0 - t);
}

void CubicWeightsInSteps(uint32_t fraction, int64_t (&weights)[4])
{
    double exact[4];
    CubicWeights(fraction, exact);
    for (int i = 0; i < 4; ++i)
        weights[i] = static_cast<int64_t>(exact[i] * 0x1p36);
}

ColumnStrip::ColumnStrip(uint32_t position, uint32_t step, int columns, int last, bool smoothed)
    : count(columns), lastColumn(last), smooth(smoothed), insideFirst(0)
{
    const int padded = (count + kColumnGroup - 1) / kColumnGroup * kColumnGroup;
    for (int c = 0; c < padded; ++c) {
        offsets[c] = (static_cast<int32_t>(Whole(position)) - 1) * kBytesPerPixel;
        CubicWeights(Fraction(position), weights[c]);
        int64_t steps[4];
        CubicWeightsInSteps(Fraction(position), steps);
        for (int digit = 0; digit < kDigits; ++digit)
            for (int pair = 0; pair < 2; ++pair)
                WriteDigits(steps, digit, pair, digits[c / kColumnGroup][digit][pair][c % kColumnGroup]);
        if (c < count - 1)
            position += step;
    }
    while (insideFirst < padded && offsets[insideFirst] < 0)
        insideFirst += kColumnGroup;
    insideEnd = padded;
    while (insideEnd > insideFirst && offsets[insideEnd - 1] > (lastColumn - 3) * kBytesPerPixel)
        insideEnd -= kColumnGroup;
}

void FilterColumns(const ColumnStrip& strip, const unsigned char* row, int16_t* out)
{
    for (int c = 0; c < strip.count; ++c)
        FilterColumn(strip, c, row, out + c * kBytesPerPixel);
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
    constexpr ConvolveTable plain = {FilterColumns, FilterRows};
#if ENCMGR_X86_SETS
    static const RowTables<ConvolveTable> tables(plain, OverwriteConvolveSse41, OverwriteConvolveAvx2);
#else
    static const RowTables<ConvolveTable> tables(plain, nullptr, nullptr);
#endif
    return tables.Active();
}
