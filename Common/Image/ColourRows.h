// Row functions of the colour conversions. They know nothing of images: walks give them rows and widths in pixels. None
// reads or writes outside its rows; sources and targets don't overlap.
#ifndef ENCMGR_COLOUR_ROWS_H
#define ENCMGR_COLOUR_ROWS_H

// Byte offsets in a packed pair of pixels, 4 bytes.
struct PairOrder {
    int y0;
    int u;
    int y1;
    int v;
};
constexpr PairOrder kYuy2 = {0, 1, 2, 3};
constexpr PairOrder kUyvy = {1, 0, 3, 2};

// Two rows of planar 4:2:0, which share their chroma, and two rows of a bitmap or of packed pairs. A row on its own is
// given as both: it is then converted twice, to the same bytes.
template <class Byte> struct PlanarRows {
    Byte* upperY;
    Byte* lowerY;
    Byte* u;
    Byte* v;
};
template <class Byte> struct PackedRows {
    Byte* upper;
    Byte* lower;
};
using YuvRows = PlanarRows<unsigned char>;
using ConstYuvRows = PlanarRows<const unsigned char>;
using PixelRows = PackedRows<unsigned char>;
using ConstPixelRows = PackedRows<const unsigned char>;

struct ColourTable {
    // ---- YUV to RGB: each chroma sample serves two columns ----
    using YuvToRgb = void (*)(const ConstYuvRows& in, const PixelRows& out, int width);
    YuvToRgb yuvToRgb24;
    YuvToRgb yuvToRgb32;        // fourth byte left alone
    YuvToRgb yuvToArgb;         // fourth byte 255
    YuvToRgb yuvToRgb24Rounded; // by the pixel functions' arithmetic

    // ---- RGB to YUV ----
    // With an odd width the last column's luma goes into the column after it as well, and its chroma is that of its
    // two pixels.
    using RgbToYuv = void (*)(const ConstPixelRows& in, const YuvRows& out, int width);
    RgbToYuv rgb24ToYuv;
    RgbToYuv rgb32ToYuv;
    RgbToYuv rgb24ToYuvRounded; // REQUIRES: an even width
    // The fourth byte of each pixel; with an odd width the last one twice.
    void (*alpha)(const unsigned char* row, unsigned char* a, int width);

    // ---- packed 4:2:2 ----
    // Whole pairs; with an odd width the last pair repeats its only pixel.
    void (*rgb24ToPacked)(const unsigned char* row, unsigned char* out, int width, PairOrder order);
    // With an odd width the last pair gives its left pixel only.
    void (*packedToRgb24)(const unsigned char* row, unsigned char* out, int width, PairOrder order);
    // `pairs` pairs of two rows; chroma is the mean of both, rounded down.
    void (*packedToYuv)(const ConstPixelRows& in, const YuvRows& out, int pairs, PairOrder order);
    void (*yuvToPacked)(const ConstYuvRows& in, const PixelRows& out, int pairs, PairOrder order);
    // Exchanges the bytes of each 16-bit word of `pairs` pairs.
    void (*swapPacked)(const unsigned char* row, unsigned char* out, int pairs);
};

// The functions for this processor.
const ColourTable& ColourRows();

// The definition, and what finishes rows that vectors don't fill.
const ColourTable& PlainColourRows();

void OverwriteColourRowsSse41(ColourTable& table);
void OverwriteColourRowsAvx2(ColourTable& table);
void OverwriteColourRowsAvx512(ColourTable& table);

#endif // ENCMGR_COLOUR_ROWS_H
