// Between bitmaps and planar 4:2:0. The walks go by two rows at a time, which share their chroma; a last odd row goes
// alone, without its last column if that is odd too.
#include "Common/Image/Assertion.h"
#include "Common/Image/ColourKernels.h"
#include "Common/Image/ColourRows.h"
#include "Common/Image/ImageConvert.h"
#include "Common/Image/PlaneRows.h"

namespace
{

// Where image row `row` lies.
struct Bitmap {
    unsigned char* first;
    int64_t pitch;
    int width; // 0 if there is no picture, and so is the height
    int height;

    unsigned char* Row(int64_t row) const { return RowOf(first, row, pitch); }
    PixelRows Rows(int upper, int lower) const { return {Row(upper), Row(lower)}; }
    ConstPixelRows ConstRows(int upper, int lower) const { return {Row(upper), Row(lower)}; }
};

Bitmap TopDown(int bytesPerPixel, const tagBITMAPINFOHEADER& header, unsigned char* bits)
{
    if (header.biWidth <= 0 || header.biHeight <= 0)
        return {bits, 0, 0, 0};
    const int64_t bytes = int64_t{header.biWidth} * bytesPerPixel;
    return {bits, (bytes + 3) / 4 * 4, header.biWidth, header.biHeight};
}

Bitmap BottomUp(int bytesPerPixel, const tagBITMAPINFOHEADER& header, unsigned char* bits)
{
    Bitmap bitmap = TopDown(bytesPerPixel, header, bits);
    if (bitmap.height > 0)
        bitmap.first = bitmap.Row(bitmap.height - 1);
    bitmap.pitch = -bitmap.pitch;
    return bitmap;
}

YuvRows RowsOf(const Planes& planes, int upper, int lower)
{
    return {planes.Y(upper), planes.Y(lower), planes.U(upper), planes.V(upper)};
}

ConstYuvRows ConstRowsOf(const Planes& planes, int upper, int lower)
{
    return {planes.Y(upper), planes.Y(lower), planes.U(upper), planes.V(upper)};
}

// Calls convert(upper, lower, width) for whole pairs of rows.
template <class Convert> void WalkWholePairs(int width, int height, const Convert& convert)
{
    for (int row = 0; row < Even(height); row += 2)
        convert(row, row + 1, width);
}

// The same, and for a last odd row as both.
template <class Convert> void WalkPairs(const Bitmap& bitmap, const Convert& convert)
{
    WalkWholePairs(bitmap.width, bitmap.height, convert);
    if (const int last = Even(bitmap.height); last < bitmap.height)
        convert(last, last, Even(bitmap.width));
}

void YuvToBitmap(const Bitmap& bitmap, const Planes& planes, ColourTable::YuvToRgb convert)
{
    WalkPairs(bitmap, [&](int upper, int lower, int width) {
        convert(ConstRowsOf(planes, upper, lower), bitmap.Rows(upper, lower), width);
    });
}

void BitmapToYuv(const Bitmap& bitmap, const Planes& planes, ColourTable::RgbToYuv convert)
{
    WalkPairs(bitmap, [&](int upper, int lower, int width) {
        convert(bitmap.ConstRows(upper, lower), RowsOf(planes, upper, lower), width);
    });
}

} // namespace

void PixelRGB_2_YUV(int R, int G, int B, int& Y, int& U, int& V)
{
    const YuvPixel pixel = RoundedYuv(R, G, B);
    Y = pixel.y;
    U = pixel.u;
    V = pixel.v;
}

void PixelYUV_2_RGB(int Y, int U, int V, int& R, int& G, int& B)
{
    const RgbPixel pixel = RoundedRgb(Y, U, V);
    R = pixel.r;
    G = pixel.g;
    B = pixel.b;
}

void Yuv420_2_rgb24(tagBITMAPINFOHEADER* lpDstBmi, unsigned char* lpDstBits, unsigned char* pY, unsigned char* pU,
                    unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V)
{
    REQUIRE(lpDstBmi && lpDstBmi->biBitCount == 24, "lpDstBmi && lpDstBmi->biBitCount == 24");
    REQUIRE(lpDstBits && pY && pU && pV, "lpDstBits && pY && pU && pV");
    YuvToBitmap(BottomUp(3, *lpDstBmi, lpDstBits), {pY, pU, pV, nPt_Y, nPt_U, nPt_V}, ColourRows().yuvToRgb24);
}

void Yuv420_2_rgb32(tagBITMAPINFOHEADER* lpDstBmi, unsigned char* lpDstBits, unsigned char* pY, unsigned char* pU,
                    unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V)
{
    REQUIRE(lpDstBmi && lpDstBmi->biBitCount == 32, "lpDstBmi && lpDstBmi->biBitCount == 32");
    REQUIRE(lpDstBits && pY && pU && pV, "lpDstBits && pY && pU && pV");
    YuvToBitmap(BottomUp(4, *lpDstBmi, lpDstBits), {pY, pU, pV, nPt_Y, nPt_U, nPt_V}, ColourRows().yuvToRgb32);
}

void Yuv420_2_Argb(tagBITMAPINFOHEADER* lpDstBmi, unsigned char* lpDstBits, unsigned char* pY, unsigned char* pU,
                   unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V)
{
    REQUIRE(lpDstBmi && lpDstBmi->biBitCount == 32, "lpDstBmi && lpDstBmi->biBitCount == 32");
    REQUIRE(lpDstBits && pY && pU && pV, "lpDstBits && pY && pU && pV");
    YuvToBitmap(TopDown(4, *lpDstBmi, lpDstBits), {pY, pU, pV, nPt_Y, nPt_U, nPt_V}, ColourRows().yuvToArgb);
}

void Yuv420_2_rgb24Simple(tagBITMAPINFOHEADER* lpDstBmi, unsigned char* lpDstBits, unsigned char* pY, unsigned char* pU,
                          unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V)
{
    if (!lpDstBmi || !lpDstBits || !pY || !pU || !pV)
        return;
    const Bitmap bitmap = BottomUp(3, *lpDstBmi, lpDstBits);
    const Planes planes = {pY, pU, pV, nPt_Y, nPt_U, nPt_V};
    const auto convert = ColourRows().yuvToRgb24Rounded;
    WalkWholePairs(Even(bitmap.width), bitmap.height, [&](int upper, int lower, int width) {
        convert(ConstRowsOf(planes, upper, lower), bitmap.Rows(upper, lower), width);
    });
}

void Rgb24_2_yuv420(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V,
                    tagBITMAPINFOHEADER* lpSrcBmi, unsigned char* lpSrcBits)
{
    REQUIRE(lpSrcBmi && lpSrcBmi->biBitCount == 24, "lpSrcBmi && lpSrcBmi->biBitCount == 24");
    REQUIRE(lpSrcBits && pY && pU && pV, "lpSrcBits && pY && pU && pV");
    BitmapToYuv(BottomUp(3, *lpSrcBmi, lpSrcBits), {pY, pU, pV, nPt_Y, nPt_U, nPt_V}, ColourRows().rgb24ToYuv);
}

void Rgb32_2_yuv420(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V,
                    tagBITMAPINFOHEADER* lpSrcBmi, unsigned char* lpSrcBits)
{
    REQUIRE(lpSrcBmi && lpSrcBmi->biBitCount == 32, "lpSrcBmi && lpSrcBmi->biBitCount == 32");
    REQUIRE(lpSrcBits && pY && pU && pV, "lpSrcBits && pY && pU && pV");
    BitmapToYuv(BottomUp(4, *lpSrcBmi, lpSrcBits), {pY, pU, pV, nPt_Y, nPt_U, nPt_V}, ColourRows().rgb32ToYuv);
}

void Argb_2_yuv420(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V,
                   tagBITMAPINFOHEADER* lpSrcBmi, unsigned char* lpSrcBits)
{
    REQUIRE(lpSrcBmi && lpSrcBmi->biBitCount == 32, "lpSrcBmi && lpSrcBmi->biBitCount == 32");
    REQUIRE(lpSrcBits && pY && pU && pV, "lpSrcBits && pY && pU && pV");
    BitmapToYuv(TopDown(4, *lpSrcBmi, lpSrcBits), {pY, pU, pV, nPt_Y, nPt_U, nPt_V}, ColourRows().rgb32ToYuv);
}

void Rgb32_2_yuv420A(unsigned char* pY, unsigned char* pU, unsigned char* pV, unsigned char* pA, int nPt_Y, int nPt_U,
                     int nPt_V, tagBITMAPINFOHEADER* lpSrcBmi, unsigned char* lpSrcBits)
{
    REQUIRE(lpSrcBmi && lpSrcBmi->biBitCount == 32, "lpSrcBmi && lpSrcBmi->biBitCount == 32");
    REQUIRE(lpSrcBits && pY && pU && pV, "lpSrcBits && pY && pU && pV");
    const Bitmap bitmap = BottomUp(4, *lpSrcBmi, lpSrcBits);
    const Planes planes = {pY, pU, pV, nPt_Y, nPt_U, nPt_V};
    const ColourTable& rows = ColourRows();
    WalkPairs(bitmap, [&](int upper, int lower, int width) {
        rows.rgb32ToYuv(bitmap.ConstRows(upper, lower), RowsOf(planes, upper, lower), width);
        for (int row = upper; pA && row <= lower; ++row)
            rows.alpha(bitmap.Row(row), RowOf(pA, row, nPt_Y), width);
    });
}

void Rgb24_2_yuv420Simple(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V,
                          tagBITMAPINFOHEADER* lpSrcBmi, unsigned char* lpSrcBits)
{
    if (!lpSrcBmi || !lpSrcBits || !pY || !pU || !pV)
        return;
    const Bitmap bitmap = BottomUp(3, *lpSrcBmi, lpSrcBits);
    const Planes planes = {pY, pU, pV, nPt_Y, nPt_U, nPt_V};
    const auto convert = ColourRows().rgb24ToYuvRounded;
    WalkWholePairs(Even(bitmap.width), bitmap.height, [&](int upper, int lower, int width) {
        convert(bitmap.ConstRows(upper, lower), RowsOf(planes, upper, lower), width);
    });
}
