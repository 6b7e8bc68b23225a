// Row functions of the colour conversions. They know nothing of images: walks give them rows and widths in pixels.
#ifndef ENCMGR_COLOUR_ROWS_H
#define ENCMGR_COLOUR_ROWS_H

// Byte offsets in a packed pair of pixels, 4 bytes.
struct PairOrder {
    int y0;
    int u;
    int y1;
    int v;

    // bYUY2 non-zero: Y0 U Y1 V; 0: U Y0 V Y1.
    explicit constexpr PairOrder(unsigned int bYUY2)
        : y0(bYUY2 ? 0 : 1), u(bYUY2 ? 1 : 0), y1(bYUY2 ? 2 : 3), v(bYUY2 ? 3 : 2)
    {
    }
};

// ---- YUV to RGB: each chroma sample serves two columns ----
void YuvRowToRgb24(const unsigned char* y, const unsigned char* u, const unsigned char* v, unsigned char* out,
                   int width);
void YuvRowToRgb32(const unsigned char* y, const unsigned char* u, const unsigned char* v, unsigned char* out,
                   int width); // fourth byte left alone
void YuvRowToArgb(const unsigned char* y, const unsigned char* u, const unsigned char* v, unsigned char* out,
                  int width); // fourth byte 255

// ---- RGB to YUV ----
// Two rows of pixels into two of luma and one of each chroma. With an odd width the last column's luma goes into the
// column behind it as well, and its chroma is that of its two pixels.
struct YuvRows {
    unsigned char* upperY;
    unsigned char* lowerY;
    unsigned char* u;
    unsigned char* v;
};
void Rgb24RowsToYuv(const unsigned char* upper, const unsigned char* lower, const YuvRows& out, int width);
void Rgb32RowsToYuv(const unsigned char* upper, const unsigned char* lower, const YuvRows& out, int width);
// One row of pixels; its chroma is that of pairs along the row. REQUIRES: an even width.
void Rgb24RowToYuv(const unsigned char* row, unsigned char* y, unsigned char* u, unsigned char* v, int width);
void Rgb32RowToYuv(const unsigned char* row, unsigned char* y, unsigned char* u, unsigned char* v, int width);
// The fourth byte of each pixel; with an odd width the last one twice.
void AlphaRow(const unsigned char* row, unsigned char* a, int width);

// ---- packed 4:2:2 ----
// Whole pairs; with an odd width the last pair repeats its only pixel.
void Rgb24RowToPacked(const unsigned char* row, unsigned char* out, int width, PairOrder order);
// With an odd width the last pair gives its left pixel only.
void PackedRowToRgb24(const unsigned char* row, unsigned char* out, int width, PairOrder order);
// `pairs` pairs of two rows; chroma is the mean of both, rounded down.
void PackedRowsToYuv(const unsigned char* upper, const unsigned char* lower, const YuvRows& out, int pairs,
                     PairOrder order);
void YuvRowToPacked(const unsigned char* y, const unsigned char* u, const unsigned char* v, unsigned char* out,
                    int pairs, PairOrder order);
// Exchanges the bytes of each 16-bit word of `pairs` pairs.
void SwapPackedRow(const unsigned char* row, unsigned char* out, int pairs);

#endif // ENCMGR_COLOUR_ROWS_H
