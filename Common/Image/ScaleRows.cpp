#include "Common/Image/ScaleRows.h"

#include <cstddef>
#include <cstring>

namespace
{

constexpr int kBytesPerPixel = 4;

// Mix of two samples; the fraction, that of b, is dropped from the result and never rounded.
constexpr uint32_t Mix(uint32_t a, uint32_t b, uint32_t fraction)
{
    return (a * (kOne - fraction) + b * fraction) >> kFractionBits;
}

unsigned char Byte(uint32_t value)
{
    return static_cast<unsigned char>(value);
}

// ---- columns ----

void Prepare(Columns&, bool) {}

template <int bytes> void PickOf(const Columns& columns, const unsigned char* src, unsigned char* dst)
{
    for (int c = 0; c < columns.count; ++c)
        std::memcpy(dst + ptrdiff_t{bytes} * c, src + ptrdiff_t{bytes} * columns.index[c], bytes);
}

template <int bytes> void MixColumnsOf(const Columns& columns, const unsigned char* src, unsigned char* dst)
{
    for (int c = 0; c < columns.count; ++c) {
        const uint32_t fraction = columns.fraction[c];
        const unsigned char* left = src + ptrdiff_t{bytes} * columns.index[c];
        const unsigned char* right = fraction ? left + bytes : left;
        for (int k = 0; k < bytes; ++k)
            *dst++ = k == 3 ? left[k] : Byte(Mix(left[k], right[k], fraction));
    }
}

void Pick(const Columns& columns, const unsigned char* src, unsigned char* dst)
{
    (columns.pixelBytes == 1 ? PickOf<1> : PickOf<kBytesPerPixel>)(columns, src, dst);
}

void MixColumns(const Columns& columns, const unsigned char* src, unsigned char* dst)
{
    (columns.pixelBytes == 1 ? MixColumnsOf<1> : MixColumnsOf<kBytesPerPixel>)(columns, src, dst);
}

// ---- rows ----

void MixRows(const RowPair& rows, unsigned char* dst, int bytes, ptrdiff_t)
{
    for (int i = 0; i < bytes; ++i)
        dst[i] = Byte(Mix(rows.upper[i], rows.lower[i], rows.fraction));
}

void MixPixelRows(const RowPair& rows, unsigned char* dst, int bytes, ptrdiff_t)
{
    for (int i = 0; i < bytes; ++i)
        // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): the rows of MixQuads hold so many bytes
        dst[i] = i % kBytesPerPixel == 3 ? rows.upper[i] : Byte(Mix(rows.upper[i], rows.lower[i], rows.fraction));
}

void MixQuads(const Columns& columns, const RowPair& rows, unsigned char* dst)
{
    unsigned char upper[kStripBytes], lower[kStripBytes];
    MixColumns(columns, rows.upper, upper);
    MixColumns(columns, rows.lower, lower);
    const RowPair mixed = {upper, lower, rows.fraction};
    (columns.pixelBytes == 1 ? MixRows : MixPixelRows)(mixed, dst, columns.count * columns.pixelBytes, 0);
}

void MeanRows(const unsigned char* upper, const unsigned char* lower, unsigned char* dst, int count)
{
    for (int c = 0; c < count; ++c)
        dst[c] = Byte((uint32_t{upper[c]} + upper[c + 1] + lower[c] + lower[c + 1]) >> 2);
}

// ---- stores ----

// A colour laid over another by an opacity of 0 to 255.
constexpr unsigned char LayOver(uint32_t opacity, uint32_t over, uint32_t under)
{
    return static_cast<unsigned char>((opacity * over + (255 - opacity) * under) / 255);
}

void OverlayColours(const unsigned char* row, unsigned char* dst, int count, Ahead)
{
    for (int c = 0; c < count; ++c, row += kBytesPerPixel, dst += kBytesPerPixel)
        for (int k = 0; k < 3; ++k)
            dst[k] = LayOver(row[3], row[k], dst[k]);
}

void Overlay(const unsigned char* row, unsigned char* dst, int count, Ahead)
{
    OverlayColours(row, dst, count, {});
    for (int c = 0; c < count; ++c, row += kBytesPerPixel, dst += kBytesPerPixel)
        dst[3] = Byte(row[3] + dst[3] * (255U - row[3]) / 255);
}

void CutByMask(uint32_t mask, unsigned char* pixel, uint32_t opacity)
{
    if (mask == 0)
        std::memset(pixel, 0, kBytesPerPixel);
    else
        pixel[3] = Byte(opacity);
}

void MaskReplace(const unsigned char* mask, unsigned char* dst, int count, Ahead)
{
    for (int c = 0; c < count; ++c, dst += kBytesPerPixel)
        CutByMask(mask[c], dst, mask[c]);
}

void MaskMultiply(const unsigned char* mask, unsigned char* dst, int count, Ahead)
{
    for (int c = 0; c < count; ++c, dst += kBytesPerPixel)
        CutByMask(mask[c], dst, uint32_t{mask[c]} * dst[3] / 255);
}

constexpr ScaleRowTable kPlain = {Prepare,  Pick,    MixColumns,     MixRows,     MixPixelRows, MixQuads,
                                  MeanRows, Overlay, OverlayColours, MaskReplace, MaskMultiply};

} // namespace

const ScaleRowTable& PlainScaleRows()
{
    return kPlain;
}

const ScaleRowTable& ScaleRows()
{
#if ENCMGR_X86_SETS >= 3
    static const RowTables<ScaleRowTable> s_tables(
        kPlain, {OverwriteScaleRowsSse41, OverwriteScaleRowsAvx2, OverwriteScaleRowsAvx512});
#elif ENCMGR_X86_SETS
    static const RowTables<ScaleRowTable> s_tables(kPlain, {OverwriteScaleRowsSse41, OverwriteScaleRowsAvx2});
#else
    static const RowTables<ScaleRowTable> s_tables(kPlain, {});
#endif
    return s_tables.Active();
}
