// Row functions of the scalers: one row of target pixels from one or two source rows. They know nothing of images.
//
// Positions have 12 fractional bits and count from the start of the given rows. A sample of weight 0 is never read, so
// that rows may end with their last pixel. Sums past a row's last position wrap and are not used.
#ifndef ENCMGR_ROW_KERNELS_H
#define ENCMGR_ROW_KERNELS_H

#include <cstdint>

constexpr int kFractionBits = 12;
constexpr int kOne = 1 << kFractionBits;

constexpr uint32_t Whole(uint32_t position)
{
    return position >> kFractionBits;
}

constexpr uint32_t Fraction(uint32_t position)
{
    return position & (kOne - 1);
}

// Mix of two samples; the fraction, that of b, is dropped from the result and never rounded.
constexpr uint32_t Mix(uint32_t a, uint32_t b, uint32_t fraction)
{
    return (a * (kOne - fraction) + b * fraction) >> kFractionBits;
}

// Two neighbouring rows and the weight of the lower one; with weight 0 both may be the same.
struct RowPair {
    const unsigned char* upper;
    const unsigned char* lower;
    uint32_t fraction;
};

// Column c lies at start + c * step.
struct ColumnWalk {
    uint32_t start;
    uint32_t step;
};

// ---- the pixel at or before each position ----
void NearRow8(const unsigned char* src, unsigned char* dst, int count, uint32_t step);
void NearRow32(const unsigned char* src, unsigned char* dst, int count, uint32_t step);
void NearRowUV(const unsigned char* src, unsigned char* dst, int count, ColumnWalk columns); // luma positions
void TableRow8(const unsigned char* src, unsigned char* dst, int count, const int32_t* columns);

// ---- bilinear mix, horizontal stage first ----
void BlendRow8(const RowPair& rows, unsigned char* dst, int count, uint32_t step);
void BlendRow32(const RowPair& rows, unsigned char* dst, int count, uint32_t step);      // byte 3 copied
void BlendRowUV(const RowPair& rows, unsigned char* dst, int count, ColumnWalk columns); // luma positions

// ---- laid over what the target holds, by byte 3 of the source pixel at or before the position ----
void OverlayBlendRow32(const RowPair& rows, unsigned char* dst, int count,
                       uint32_t step); // adds to the target's byte 3
void OverlayNearRow32(const unsigned char* src, unsigned char* dst, int count, uint32_t step); // keeps it

// ---- a mask of bytes cuts 4-byte pixels: 0 wipes a pixel, other values go to its byte 3 and leave its colours ----
void MaskReplaceRow(const unsigned char* mask, unsigned char* dst, int count, uint32_t step); // nearest; replaces
void MaskBlendRow(const RowPair& mask, unsigned char* dst, int count, uint32_t step);         // bilinear; multiplies
void MaskNearRow(const unsigned char* mask, unsigned char* dst, int count, uint32_t step);    // nearest; multiplies

// ---- cubic convolution ----
struct ConvolveRows {
    const unsigned char* rows[4]; // tap rows, from the source rectangle's left column
    double weights[4];            // of the rows
    bool smoothX;
    bool smoothY;
    int lastColumn; // tap columns are held to 0 and this one
};
void ConvolveRow32(const ConvolveRows& taps, unsigned char* dst, int count, uint32_t step); // byte 3 copied

// Weights of four taps at the distances 1 + t, t, 1 - t and 2 - t of a position with the fraction t, 0 to 4095: the
// cubic convolution kernel with parameter -1. Multiples of 2^-36, and so exact, like every sum that they enter.
void CubicWeights(uint32_t fraction, double (&weights)[4]);

// Mean of the corners of each cell between columns c and c + 1, the last cell held to the row's last column.
void MeanRow8(const unsigned char* upper, const unsigned char* lower, unsigned char* dst, int count, uint32_t step,
              uint32_t lastColumn);

// Sets the bytes left of the rectangle, and those from its right edge up to the pitch, to black (16).
void FillLumaMargins(unsigned char* row, int left, int width, int pitch);

#endif // ENCMGR_ROW_KERNELS_H
