// The walks over a target rectangle: which source rows meet in a target row, and where a row's columns begin. What
// happens to the pixels of a row is the row functions' part.
#ifndef ENCMGR_SCALE_WALK_H
#define ENCMGR_SCALE_WALK_H

#include "Common/Image/ImageParam.h"
#include "Common/Image/ImageResize.h"
#include "Common/Image/PlaneRows.h"
#include "Common/Image/StripSampler.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

constexpr int kSideLimit = 1 << 19; // positions are 31 bits with 12 of fraction

inline bool CanScale(const IMG_PARAM& src, const IMG_PARAM& dst, int leastTargetSide = 2)
{
    return src.pBits && dst.pBits && src.cx >= 1 && src.cy >= 1 && dst.cx >= leastTargetSide &&
           dst.cy >= leastTargetSide && src.cx < kSideLimit && src.cy < kSideLimit && dst.cx < kSideLimit &&
           dst.cy < kSideLimit;
}

// Corner to corner, the remainder thrown away. REQUIRES: CanScale.
struct Steps {
    uint32_t x;
    uint32_t y;

    Steps(const IMG_PARAM& src, const IMG_PARAM& dst)
        : x(static_cast<uint32_t>((src.cx * kOne - kOne) / (dst.cx - 1))),
          y(static_cast<uint32_t>((src.cy * kOne - kOne) / (dst.cy - 1)))
    {
    }
};

// ---- row orders: where an image row lies in memory ----

struct TopDown {
    static ptrdiff_t Pitch(const IMG_PARAM& image) { return image.nPitch; }
    static unsigned char* Row(const IMG_PARAM& image, int64_t row) { return RowOf(image.pBits, row, image.nPitch); }
};

struct BottomUp {
    static ptrdiff_t Pitch(const IMG_PARAM& image) { return static_cast<ptrdiff_t>(-int64_t{image.nPitch}); }
    static unsigned char* Row(const IMG_PARAM& image, int64_t row)
    {
        return RowOf(image.pBits, int64_t{image.nHeight} - 1 - row, image.nPitch);
    }
};

// The row at or before a row position of the source rectangle, from its left column on.
template <class Order> RowPair RowAt(const IMG_PARAM& src, uint32_t position, int bytesPerPixel)
{
    return {Order::Row(src, int64_t{src.y} + Whole(position)) + ptrdiff_t{src.x} * bytesPerPixel, nullptr, 0};
}

// The rows that meet at a row position. At a whole position the lower row has no weight and is the upper one: it may
// not exist.
template <class Order> RowPair RowsAt(const IMG_PARAM& src, uint32_t position, int bytesPerPixel)
{
    const uint32_t fraction = Fraction(position);
    const RowPair at = RowAt<Order>(src, position, bytesPerPixel);
    return {at.upper, fraction ? RowAt<Order>(src, position + kOne, bytesPerPixel).upper : at.upper, fraction};
}

template <class Order> RowPair LastRow(const IMG_PARAM& src, int bytesPerPixel)
{
    return {Order::Row(src, int64_t{src.y} + src.cy - 1) + ptrdiff_t{src.x} * bytesPerPixel, nullptr, 0};
}

// Sets the bytes left of the rectangle, and those from its right edge up to the pitch, to black.
inline void FillLumaMargins(unsigned char* row, int left, int width, int pitch)
{
    if (left > 0)
        std::memset(row, kBlackLuma, static_cast<size_t>(left));
    const int64_t right = int64_t{left} + width;
    if (right < pitch)
        std::memset(row + right, kBlackLuma, static_cast<size_t>(pitch - right));
}

// ---- walks ----

// Goes over rows in strips of columns, the rows of a strip from the top. rowsOf(r) tells the source rows of target row
// r, and writeRow(strip, r, rows) makes its part in the strip.
template <class RowsOf, class WriteRow>
void WalkStrips(const ColumnLine& line, uint32_t stepY, const Ahead& pitches, int columns, int rows, RowsOf rowsOf,
                WriteRow writeRow)
{
    for (int first = 0; first < columns; first += line.ColumnsOfStrip()) {
        StripSampler strip(line, stepY, pitches, first, columns);
        for (int r = 0; r < rows; ++r)
            writeRow(strip, r, rowsOf(r));
    }
}

// How a scaler samples its source, and what it does with the pixels. Without stores the target takes them as they are.
struct PixelScaler {
    using Store = void (*)(const unsigned char* row, unsigned char* dst, int count, Ahead ahead);

    int sourceBytes; // per pixel
    int targetBytes;
    bool mixed;        // bilinear; else nearest
    Store store;       // of all pixels
    Store storeForced; // but those of the last column and the last row
};

// Last column and last row come plain from the source rectangle's last ones; all others lie by the formula.
template <class Order> int ForcedEdgeWalk(const IMG_PARAM& src, IMG_PARAM& dst, const PixelScaler& scaler)
{
    if (!CanScale(src, dst))
        return 0;
    const Steps step(src, dst);
    const int bytes = scaler.sourceBytes;
    const auto rowsOf = [&](int r) {
        if (r == dst.cy - 1)
            return LastRow<Order>(src, bytes);
        const uint32_t position = static_cast<uint32_t>(r) * step.y;
        return scaler.mixed ? RowsAt<Order>(src, position, bytes) : RowAt<Order>(src, position, bytes);
    };
    const int inner = dst.cx - 1;
    const ColumnLine line = FormulaColumns(bytes, src.cx, step.x, scaler.mixed);
    WalkStrips(line, step.y, {Order::Pitch(src), Order::Pitch(dst)}, inner, dst.cy, rowsOf,
               [&](StripSampler& strip, int r, const RowPair& rows) {
                   unsigned char* row = Order::Row(dst, int64_t{dst.y} + r) + ptrdiff_t{dst.x} * scaler.targetBytes;
                   unsigned char* out = row + ptrdiff_t{strip.First()} * scaler.targetBytes;
                   if (!scaler.store) {
                       strip.Write(rows, out);
                   } else {
                       const PixelScaler::Store store = r < dst.cy - 1 ? scaler.store : scaler.storeForced;
                       store(strip.Row(rows), out, strip.Count(), strip.RowsAhead());
                   }
                   if (strip.First() + strip.Count() == inner) {
                       const unsigned char* last = rows.upper + ptrdiff_t{src.cx - 1} * bytes;
                       unsigned char* outLast = row + ptrdiff_t{inner} * scaler.targetBytes;
                       if (scaler.storeForced)
                           scaler.storeForced(last, outLast, 1, {});
                       else
                           std::memcpy(outLast, last, static_cast<size_t>(bytes));
                   }
               });
    return 1;
}

// All target rows from the top, all columns by the formula, black beside them. rowsOf(step, r) tells the source rows of
// a target row.
template <class RowsOf> int LumaWalk(const IMG_PARAM& src, IMG_PARAM& dst, bool mixed, RowsOf rowsOf)
{
    if (!CanScale(src, dst))
        return 0;
    const Steps step(src, dst);
    WalkStrips(
        FormulaColumns(1, src.cx, step.x, mixed), step.y, {TopDown::Pitch(src), TopDown::Pitch(dst)}, dst.cx, dst.cy,
        [&](int r) { return rowsOf(step, r); },
        [&](StripSampler& strip, int r, const RowPair& rows) {
            unsigned char* row = TopDown::Row(dst, int64_t{dst.y} + r);
            if (strip.First() == 0)
                FillLumaMargins(row, dst.x, dst.cx, dst.nPitch);
            strip.Write(rows, row + dst.x + strip.First());
        });
    return 1;
}

// Every second luma position makes one chroma sample. The last chroma row of the target comes plain from the source
// rectangle's last one.
inline int ChromaWalk(const IMG_PARAM& src, IMG_PARAM& dst, bool mixed)
{
    if (!CanScale(src, dst))
        return 0;
    const Steps step(src, dst);
    // From an odd luma column on, positions begin on the second half of a chroma sample.
    const uint32_t start = src.x % 2 != 0 ? uint32_t{kOne} : 0;
    const int samples = (src.x % 2 + src.cx + 1) / 2;
    const auto sourceRow = [&src](int64_t lumaRow) { return TopDown::Row(src, lumaRow / 2) + src.x / 2; };
    const int chromaRows = (dst.cy + 1) / 2;
    const auto rowsOf = [&](int r) {
        if (r == chromaRows - 1)
            return RowPair{sourceRow(int64_t{src.y} + src.cy - 1), nullptr, 0};
        const uint32_t position = static_cast<uint32_t>(r) * 2 * step.y;
        const uint32_t fraction = Fraction(position);
        const int64_t row = int64_t{src.y} + Whole(position);
        return RowPair{sourceRow(row), mixed ? sourceRow(row + (fraction != 0)) : nullptr, fraction};
    };
    WalkStrips(ChromaColumns(samples, start, 2 * step.x, mixed), step.y, {TopDown::Pitch(src), TopDown::Pitch(dst)},
               (dst.cx + 1) / 2, chromaRows, rowsOf, [&](StripSampler& strip, int r, const RowPair& rows) {
                   const int64_t row = int64_t{dst.y} + 2 * int64_t{r};
                   strip.Write(rows, TopDown::Row(dst, row / 2) + dst.x / 2 + strip.First());
               });
    return 1;
}

#endif // ENCMGR_SCALE_WALK_H
