// Row functions of the scalers: one strip of a target row from one or two source rows. They know nothing of images.
//
// A strip is a run of columns. Where the columns' pixels lie in a source row is worked out once a strip, as Columns,
// for all its rows. Every row function has a plain form, the definition, and forms of better instruction sets that give
// the same bytes.
#ifndef ENCMGR_SCALE_ROWS_H
#define ENCMGR_SCALE_ROWS_H

#include "Common/InstructionSet.h"

#include <cstddef>
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

// Two source rows and the weight of the lower one, 0 to 4095. Without a lower row the pixels are picked from the upper
// one; else they are mixed, in both directions.
struct RowPair {
    const unsigned char* upper;
    const unsigned char* lower;
    uint32_t fraction;
};

// ---- columns ----

constexpr int kStripBytes = 2048; // of pixels
constexpr int kRowUnit = kLongestVector;

// Memory for what a set prepares from columns. It is the caller's and opaque to it.
constexpr int kShuffleBytes = 12 * kStripBytes + 320; // of columns as shuffles of lanes
constexpr int kPreparedColumnBytes = kShuffleBytes + 4 * kStripBytes + kStripBytes / 8 + kLongestVector;

// The columns of a strip.
struct Columns {
    int count;        // kStripBytes / pixelBytes at most
    int pixelBytes;   // 1 or 4
    int32_t rowBytes; // of the source row: nothing after them is read
    ptrdiff_t ahead;  // from a source row to the one that will be needed after it; as in Ahead
    int32_t index[kStripBytes];
    uint16_t fraction[kStripBytes]; // weight of the next pixel; where it is 0 that pixel isn't read
    unsigned char* prepared;        // kPreparedColumnBytes, aligned to kLongestVector; filled by the table's prepare
};

// From rows that a function works on to those that will follow, in bytes: they are on their way to the cache meanwhile.
// They need not exist.
struct Ahead {
    ptrdiff_t row;
    ptrdiff_t target;
};

// ---- the table ----

struct ScaleRowTable {
    // To be called once the columns are set: `picked` says that they will be picked from, never mixed. Fills what
    // `prepared` points to, which the functions of the same table read back, and may repeat the last column after it.
    void (*prepare)(Columns& columns, bool picked);

    // The pixel at or before each column.
    void (*pick)(const Columns& columns, const unsigned char* src, unsigned char* dst);
    // Each column's pixel mixed with the next one by the fraction, which is that of the next and drops what lies
    // beyond whole values. Byte 3 of a 4-byte pixel is copied. dst: a strip, of which whole vectors may be written.
    void (*mixColumns)(const Columns& columns, const unsigned char* src, unsigned char* dst);
    // Mixes two rows of bytes likewise. All bytes, or all but every fourth, which is the upper row's. The rows are
    // strips, or `bytes` is a multiple of kRowUnit: they are read in such units. ahead: from dst to the next target
    // row.
    void (*mixRows)(const RowPair& rows, unsigned char* dst, int bytes, ptrdiff_t ahead);
    void (*mixPixelRows)(const RowPair& rows, unsigned char* dst, int bytes, ptrdiff_t ahead);
    // Both, horizontally first.
    void (*mixQuads)(const Columns& columns, const RowPair& rows, unsigned char* dst);
    // Mean of the corners of each cell between columns c and c + 1 of two rows; they have count + 1 bytes.
    void (*meanRows)(const unsigned char* upper, const unsigned char* lower, unsigned char* dst, int count);

    // ---- stores that change 4-byte pixels by what they hold; `count` of them ----
    // A row of pixels laid over them, by its byte 3; it adds to the target's byte 3, or leaves that alone.
    void (*overlay)(const unsigned char* row, unsigned char* dst, int count, Ahead ahead);
    void (*overlayColours)(const unsigned char* row, unsigned char* dst, int count, Ahead ahead);
    // A row of mask bytes: 0 wipes a pixel, other values replace or multiply its byte 3 and leave its colours.
    void (*maskReplace)(const unsigned char* mask, unsigned char* dst, int count, Ahead ahead);
    void (*maskMultiply)(const unsigned char* mask, unsigned char* dst, int count, Ahead ahead);
};

const ScaleRowTable& PlainScaleRows();
// The table of the active instruction set.
const ScaleRowTable& ScaleRows();

void OverwriteScaleRowsSse41(ScaleRowTable& table);
void OverwriteScaleRowsAvx2(ScaleRowTable& table);
void OverwriteScaleRowsAvx512(ScaleRowTable& table);

#endif // ENCMGR_SCALE_ROWS_H
