// The walks over a target rectangle: which source rows meet in a target row, and where a row's columns begin. What
// happens to the pixels of a row is the row kernels' part.
#ifndef ENCMGR_SCALE_WALK_H
#define ENCMGR_SCALE_WALK_H

#include "Common/Image/ImageParam.h"
#include "Common/Image/PlaneRows.h"
#include "Common/Image/RowKernels.h"

#include <cstddef>
#include <cstdint>

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
    static unsigned char* Row(const IMG_PARAM& image, int64_t row) { return RowOf(image.pBits, row, image.nPitch); }
};

struct BottomUp {
    static unsigned char* Row(const IMG_PARAM& image, int64_t row)
    {
        return RowOf(image.pBits, int64_t{image.nHeight} - 1 - row, image.nPitch);
    }
};

// The rows that meet at a row position of the source rectangle, from its left column on. At a whole position the lower
// row has no weight and is the upper one: it may not exist.
template <class Order> RowPair RowsAt(const IMG_PARAM& src, uint32_t position, int bytesPerPixel)
{
    const int64_t row = int64_t{src.y} + Whole(position);
    const uint32_t fraction = Fraction(position);
    const ptrdiff_t left = ptrdiff_t{src.x} * bytesPerPixel;
    return {Order::Row(src, row) + left, Order::Row(src, row + (fraction != 0)) + left, fraction};
}

template <class Order> const unsigned char* LastRow(const IMG_PARAM& src, int bytesPerPixel)
{
    return Order::Row(src, int64_t{src.y} + src.cy - 1) + ptrdiff_t{src.x} * bytesPerPixel;
}

// ---- walks ----

// The row functions of a scaler, and the bytes of both sides' pixels. Without a mixing function a row of the target
// comes from one row of the source, at or before its position.
struct PixelRows {
    int sourceBytes;
    int targetBytes;
    void (*plain)(const unsigned char* src, unsigned char* dst, int count, uint32_t step);
    void (*mixed)(const RowPair& rows, unsigned char* dst, int count, uint32_t step);
};

// Last column and last row come plain from the source rectangle's last ones; all others lie by the formula.
template <class Order> int ForcedEdgeWalk(const IMG_PARAM& src, IMG_PARAM& dst, const PixelRows& pixels)
{
    if (!CanScale(src, dst))
        return 0;
    const Steps step(src, dst);
    const int inner = dst.cx - 1;
    for (int r = 0; r < dst.cy; ++r) {
        unsigned char* out = Order::Row(dst, int64_t{dst.y} + r) + ptrdiff_t{dst.x} * pixels.targetBytes;
        const unsigned char* row = LastRow<Order>(src, pixels.sourceBytes);
        if (r < dst.cy - 1) {
            const RowPair rows = RowsAt<Order>(src, static_cast<uint32_t>(r) * step.y, pixels.sourceBytes);
            row = rows.upper;
            if (pixels.mixed)
                pixels.mixed(rows, out, inner, step.x);
            else
                pixels.plain(row, out, inner, step.x);
        } else {
            pixels.plain(row, out, inner, step.x);
        }
        pixels.plain(row + ptrdiff_t{src.cx - 1} * pixels.sourceBytes, out + ptrdiff_t{inner} * pixels.targetBytes, 1,
                     0);
    }
    return 1;
}

// All target rows from the top, all columns by the formula. writeRow(step, r, out) makes target row r.
template <class WriteRow> int LumaWalk(const IMG_PARAM& src, IMG_PARAM& dst, bool withMargins, WriteRow writeRow)
{
    if (!CanScale(src, dst))
        return 0;
    const Steps step(src, dst);
    for (int r = 0; r < dst.cy; ++r) {
        unsigned char* row = TopDown::Row(dst, int64_t{dst.y} + r);
        if (withMargins)
            FillLumaMargins(row, dst.x, dst.cx, dst.nPitch);
        writeRow(step, static_cast<uint32_t>(r), row + dst.x);
    }
    return 1;
}

// Every second luma position makes one chroma sample. The last chroma row of the target comes plain from the source
// rectangle's last one.
struct ChromaRows {
    void (*plain)(const unsigned char* src, unsigned char* dst, int count, ColumnWalk columns);
    void (*mixed)(const RowPair& rows, unsigned char* dst, int count, ColumnWalk columns); // null: all rows plain
};

inline int ChromaWalk(const IMG_PARAM& src, IMG_PARAM& dst, const ChromaRows& samples)
{
    if (!CanScale(src, dst))
        return 0;
    const Steps step(src, dst);
    const int count = (dst.cx + 1) / 2;
    // From an odd luma column on, positions begin on the second half of a chroma sample.
    const ColumnWalk columns = {src.x % 2 != 0 ? uint32_t{kOne} : 0, 2 * step.x};
    const auto sourceRow = [&src](int64_t lumaRow) { return TopDown::Row(src, lumaRow / 2) + src.x / 2; };
    const auto targetRow = [&dst](int64_t lumaRow) { return TopDown::Row(dst, lumaRow / 2) + dst.x / 2; };

    int r = 0;
    for (; r < dst.cy - 2; r += 2) {
        const uint32_t position = static_cast<uint32_t>(r) * step.y;
        const uint32_t fraction = Fraction(position);
        const int64_t row = int64_t{src.y} + Whole(position);
        const RowPair rows = {sourceRow(row), sourceRow(row + (fraction != 0)), fraction};
        if (samples.mixed)
            samples.mixed(rows, targetRow(int64_t{dst.y} + r), count, columns);
        else
            samples.plain(rows.upper, targetRow(int64_t{dst.y} + r), count, columns);
    }
    samples.plain(sourceRow(int64_t{src.y} + src.cy - 1), targetRow(int64_t{dst.y} + r), count, columns);
    return 1;
}

#endif // ENCMGR_SCALE_WALK_H
