// Between packed 4:2:2 and 24-bit bitmaps or planar 4:2:0, and copies of rectangles.
#include "Common/Image/Assertion.h"
#include "Common/Image/ColourKernels.h"
#include "Common/Image/ColourRows.h"
#include "Common/Image/ImageConvert.h"
#include "Common/Image/PlaneRows.h"

#include <cstring>

namespace
{

// Pixel x of a packed row.
unsigned char* PackedAt(unsigned char* bits, int64_t row, int pitch, int64_t x)
{
    return RowOf(bits, row, pitch) + static_cast<ptrdiff_t>(2 * x);
}

// Pixel x of image row `row` of a bottom-up 24-bit bitmap.
unsigned char* Rgb24At(unsigned char* bits, int height, int64_t row, int pitch, int64_t x)
{
    return RowOf(bits, int64_t{height} - 1 - row, pitch) + static_cast<ptrdiff_t>(3 * x);
}

int PairsOf(int width)
{
    return width / 2 + width % 2;
}

// bYUY2 non-zero: Y0 U Y1 V; 0: U Y0 V Y1.
PairOrder OrderOf(unsigned int bYUY2)
{
    return bYUY2 ? kYuy2 : kUyvy;
}

// The address of a sample, without forming a pointer that may lie outside the plane.
uintptr_t AddressOf(const unsigned char* plane, int64_t row, int pitch, int64_t column)
{
    return reinterpret_cast<uintptr_t>(plane) + static_cast<uintptr_t>(row * pitch + column);
}

} // namespace

void Rgb24_2_YUY2(unsigned char* lpBitsDst, int nPitchDst, int xDst, int yDst, int cxDst, int cyDst, unsigned int bYUY2,
                  unsigned char* lpBitsSrc, int nHeightSrc, int nPitchSrc, int xSrc, int ySrc)
{
    REQUIRE(lpBitsDst && lpBitsSrc, "lpBitsDst && lpBitsSrc");
    REQUIRE((int64_t{xDst} + cxDst) * 2 <= nPitchDst, "(xDst + cxDst) * 2 <= nPitchDst");
    REQUIRE(int64_t{nPitchSrc} / 3 - xSrc >= cxDst, "nPitchSrc / 3 - xSrc >= cxDst");
    if (cxDst <= 0)
        return;

    const PairOrder order = OrderOf(bYUY2);
    const ColourTable& rows = ColourRows();
    const int half = xDst & 1; // the rectangle begins in the middle of a pair
    for (int r = 0; r < cyDst; ++r) {
        const unsigned char* in = Rgb24At(lpBitsSrc, nHeightSrc, int64_t{ySrc} + r, nPitchSrc, xSrc);
        unsigned char* out = PackedAt(lpBitsDst, int64_t{yDst} + r, nPitchDst, int64_t{xDst} - half);
        if (half) {
            const Bgr first(in);
            out[order.y1] = static_cast<unsigned char>(LumaTerm(first));
            out[order.u] = static_cast<unsigned char>(ChromaMean1(CbTerm(first)));
            out[order.v] = static_cast<unsigned char>(ChromaMean1(CrTerm(first)));
            in += 3;
            out += 4;
        }
        rows.rgb24ToPacked(in, out, cxDst - half, order);
    }
}

void YUY2_2_Rgb24(unsigned char* lpBitsDst, int nHeightDst, int nPitchDst, int xDst, int yDst, int cxDst, int cyDst,
                  unsigned char* lpBitsSrc, int nPitchSrc, unsigned int bYUY2, int xSrc, int ySrc)
{
    REQUIRE(lpBitsDst && lpBitsSrc, "lpBitsDst && lpBitsSrc");
    if (cxDst <= 0)
        return;

    const PairOrder order = OrderOf(bYUY2);
    const ColourTable& rows = ColourRows();
    const int half = xSrc & 1;
    for (int r = 0; r < cyDst; ++r) {
        const unsigned char* in = PackedAt(lpBitsSrc, int64_t{ySrc} + r, nPitchSrc, int64_t{xSrc} - half);
        unsigned char* out = Rgb24At(lpBitsDst, nHeightDst, int64_t{yDst} + r, nPitchDst, xDst);
        if (half) {
            PixelFromBase(ChromaBases(in[order.u], in[order.v]), in[order.y1], out);
            in += 4;
            out += 3;
        }
        rows.packedToRgb24(in, out, cxDst - half, order);
    }
}

void YUY2_2_Yuv420(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V, int xDst,
                   int yDst, int cx, int cy, unsigned char* lpBitsSrc, int nPitchSrc, unsigned int bYUY2, int xSrc,
                   int ySrc)
{
    if (!pY || !pU || !pV || !lpBitsSrc || cx <= 0)
        return;
    const Planes planes = {pY, pU, pV, nPt_Y, nPt_U, nPt_V};
    const uintptr_t bound = AddressOf(pV, int64_t{ySrc} + cy, nPt_V, 0);
    const int pairs = PairsOf(cx);
    const auto convert = ColourRows().packedToYuv;
    for (int64_t r = 0; r < cy; r += 2) {
        // The row's last block lies highest: it stands for the check of each.
        const int64_t chromaRow = yDst / 2 + r / 2;
        REQUIRE(AddressOf(pV, chromaRow, nPt_V, int64_t{xDst} / 2 + pairs - 1) <= bound,
                "(char*)V <= ((char*)pV + (ySrc + cy) * nPt_V)");
        const ConstPixelRows in = {PackedAt(lpBitsSrc, ySrc + r, nPitchSrc, xSrc),
                                   PackedAt(lpBitsSrc, ySrc + r + 1, nPitchSrc, xSrc)};
        const YuvRows out = {planes.Y(yDst + r) + xDst, planes.Y(yDst + r + 1) + xDst,
                             RowOf(pU, chromaRow, nPt_U) + xDst / 2, RowOf(pV, chromaRow, nPt_V) + xDst / 2};
        convert(in, out, pairs, OrderOf(bYUY2));
    }
}

void Yuv420_2_YUY2(unsigned char* lpBitsDst, int nPitchDst, int xDst, int yDst, int cx, int cy, unsigned int bYUY2,
                   unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V, int xSrc,
                   int ySrc)
{
    if (!lpBitsDst || !pY || !pU || !pV || cx <= 0)
        return;
    const Planes planes = {pY, pU, pV, nPt_Y, nPt_U, nPt_V};
    const int pairs = PairsOf(cx);
    const auto convert = ColourRows().yuvToPacked;
    for (int64_t r = 0; r < cy; r += 2) {
        const int64_t chromaRow = ySrc / 2 + r / 2;
        const ConstYuvRows in = {planes.Y(ySrc + r) + xSrc, planes.Y(ySrc + r + 1) + xSrc,
                                 RowOf(pU, chromaRow, nPt_U) + xSrc / 2, RowOf(pV, chromaRow, nPt_V) + xSrc / 2};
        const PixelRows out = {PackedAt(lpBitsDst, yDst + r, nPitchDst, xDst),
                               PackedAt(lpBitsDst, yDst + r + 1, nPitchDst, xDst)};
        convert(in, out, pairs, OrderOf(bYUY2));
    }
}

void YUY2_Blt_fast(unsigned char* lpBitsDst, int nPitchDst, int xDst, int yDst, int cx, int cy, unsigned int bYUY2Dst,
                   unsigned char* lpBitsSrc, int nPitchSrc, unsigned int bYUY2Src, int xSrc, int ySrc)
{
    if (!lpBitsDst || !lpBitsSrc || cx <= 0)
        return;
    const auto swap = ColourRows().swapPacked;
    for (int64_t r = 0; r < cy; ++r) {
        unsigned char* out = PackedAt(lpBitsDst, yDst + r, nPitchDst, xDst);
        const unsigned char* in = PackedAt(lpBitsSrc, ySrc + r, nPitchSrc, xSrc);
        if (bYUY2Dst == bYUY2Src)
            std::memcpy(out, in, 2 * static_cast<size_t>(cx));
        else
            swap(in, out, PairsOf(cx));
    }
}

void YV12_Blt_fast(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V, int xDst,
                   int yDst, int cx, int yEnd, unsigned char* pYSrc, unsigned char* pUSrc, unsigned char* pVSrc,
                   int nPtSrc_Y, int nPtSrc_U, int nPtSrc_V, int xSrc, int ySrc)
{
    if (!pY || !pU || !pV || !pYSrc || !pUSrc || !pVSrc || cx <= 0)
        return;
    const auto luma = static_cast<size_t>(cx);
    const auto chroma = static_cast<size_t>(PairsOf(cx));
    const int64_t xDstChroma = (int64_t{xDst} + 1) / 2; // rounded up
    const int64_t xSrcChroma = (int64_t{xSrc} + 1) / 2;
    for (int64_t r = 0; yDst + r < yEnd; r += 2) {
        const int64_t dstChroma = yDst / 2 + r / 2;
        const int64_t srcChroma = ySrc / 2 + r / 2;
        std::memcpy(RowOf(pY, yDst + r, nPt_Y) + xDst, RowOf(pYSrc, ySrc + r, nPtSrc_Y) + xSrc, luma);
        std::memcpy(RowOf(pY, yDst + r + 1, nPt_Y) + xDst, RowOf(pYSrc, ySrc + r + 1, nPtSrc_Y) + xSrc, luma);
        std::memcpy(RowOf(pU, dstChroma, nPt_U) + xDstChroma, RowOf(pUSrc, srcChroma, nPtSrc_U) + xSrcChroma, chroma);
        std::memcpy(RowOf(pV, dstChroma, nPt_V) + xDstChroma, RowOf(pVSrc, srcChroma, nPtSrc_V) + xSrcChroma, chroma);
    }
}
