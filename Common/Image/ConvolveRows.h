// Row functions of the cubic convolution of 4-byte pixels. A source row is filtered at the columns of a strip of the
// target, once for all target rows; four such rows make one row of the strip. Every form gives the same bytes; the
// plain ones are the definition.
#ifndef ENCMGR_CONVOLVE_ROWS_H
#define ENCMGR_CONVOLVE_ROWS_H

#include "Common/InstructionSet.h"

#include <cstdint>

constexpr int kBytesPerPixel = 4;
constexpr int kStripColumns = 256; // the longest strip: what is worked out for its columns stays near the processor

// Added to the words of filtered rows, which lie between -64 and 319: sums of their products with the lower digits of
// weights, which are not negative, are not negative either.
constexpr int kFilteredBias = 128;

// Weights of four taps at the distances 1 + t, t, 1 - t and 2 - t of a position with the fraction t, 0 to 4095: the
// cubic convolution kernel with parameter -1. Multiples of 2^-36, and so exact, like every sum that they enter.
void CubicWeights(uint32_t fraction, double (&weights)[4]);

// A weight in steps of 2^-36.
constexpr int64_t WeightInSteps(double weight)
{
    return static_cast<int64_t>(weight * 0x1p36);
}

void CubicWeightsInSteps(uint32_t fraction, int64_t (&weights)[4]);

// Memory for what a set prepares from a strip. It is the caller's and opaque to it.
constexpr int kPreparedStripBytes = 24 * 1024 + kLongestVector;

// Neighbouring columns of the target, and how each comes out of a source row.
struct ColumnStrip {
    // columns: 1 to kStripColumns. Positions have 12 fractional bits and count from the source rectangle's left column;
    // all lie in it, and taps are clamped to 0 and `last`. memory: kPreparedStripBytes, aligned to kLongestVector,
    // which the strip needs as long as it lives.
    ColumnStrip(uint32_t position, uint32_t step, int columns, int last, bool smoothed, unsigned char* memory);

    int count;
    int lastColumn;
    bool smooth;
    int32_t offsets[kStripColumns]; // bytes from a source row's start to where tap 0 were if it was not clamped
    double weights[kStripColumns][4];
    unsigned char* prepared; // filled by the table's prepare
};

// Filtered rows that meet in a target row, and the fraction of its position.
struct FilteredRows {
    const int16_t* taps[4];
    uint32_t fraction;
    bool smooth;
};

struct ConvolveTable {
    // To be called once for a strip. Fills what `prepared` points to, which filterColumns of the same table reads back,
    // and may repeat the offset of the last column after it.
    void (*prepare)(ColumnStrip& strip);
    // From the source rectangle's left column on: `count` filtered pixels of 4 words, biased. Byte 3 is the one at or
    // before the position. out: room for kStripColumns pixels.
    void (*filterColumns)(const ColumnStrip& strip, const unsigned char* row, int16_t* out);
    // count pixels of the target; byte 3 is that of tap 1.
    void (*filterRows)(const FilteredRows& rows, unsigned char* dst, int count);
};

// Of the instruction set that is active now.
const ConvolveTable& ConvolveRows();

// ---- the plain forms; they prepare nothing ----
void FilterColumns(const ColumnStrip& strip, const unsigned char* row, int16_t* out);
void FilterRows(const FilteredRows& rows, unsigned char* dst, int count);

// ---- these put the forms of a set over those in the table ----
void OverwriteConvolveSse41(ConvolveTable& table);
void OverwriteConvolveAvx2(ConvolveTable& table);
void OverwriteConvolveAvx512(ConvolveTable& table);

#endif // ENCMGR_CONVOLVE_ROWS_H
