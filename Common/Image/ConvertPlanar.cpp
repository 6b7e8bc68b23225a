// Between bitmaps and planar 4:2:0. The walks go by two rows at a time, which share their chroma; a last odd row goes
// alone, without its last column if that is odd too.
#include "Common/Image/Assertion.h"
#include "Common/Image/ColourKernels.h"
#include "Common/Image/ColourRows.h"
#include "Common/Image/ImageConvert.h"
#include "Common/Image/PlaneRows.h"

namespace
{

// ---- bitmaps: where image row `row` lies ----

template <int bytes> int64_t Stride(int64_t width)
{
    return bytes == 3 ? (width * 24 + 31) / 32 * 4 : width * 4;
}

template <int bytesPerPixel> struct BottomUpBitmap {
    static constexpr int bytes = bytesPerPixel;
    static unsigned char* Row(unsigned char* bits, const tagBITMAPINFOHEADER& header, int64_t row)
    {
        return RowOf(bits, int64_t{header.biHeight} - 1 - row, Stride<bytes>(header.biWidth));
    }
};

struct TopDownBitmap {
    static constexpr int bytes = 4;
    static unsigned char* Row(unsigned char* bits, const tagBITMAPINFOHEADER& header, int64_t row)
    {
        return RowOf(bits, row, Stride<bytes>(header.biWidth));
    }
};

bool HasPicture(const tagBITMAPINFOHEADER& header)
{
    return header.biWidth > 0 && header.biHeight > 0;
}

// Pixels of a row that are converted: the corner of an odd last column and an odd last row is not.
int WidthOfRow(const tagBITMAPINFOHEADER& header, int row)
{
    return row < Even(header.biHeight) ? header.biWidth : Even(header.biWidth);
}

using YuvRowToBitmap = void (*)(const unsigned char* y, const unsigned char* u, const unsigned char* v,
                                unsigned char* out, int width);

template <class Bitmap>
void YuvToBitmap(const tagBITMAPINFOHEADER& header, unsigned char* bits, const Planes& planes, YuvRowToBitmap convert)
{
    if (!HasPicture(header))
        return;
    for (int row = 0; row < header.biHeight; ++row)
        convert(planes.Y(row), planes.U(row), planes.V(row), Bitmap::Row(bits, header, row), WidthOfRow(header, row));
}

template <int bytes> struct RgbRows;

template <> struct RgbRows<3> {
    static constexpr auto Two = Rgb24RowsToYuv;
    static constexpr auto One = Rgb24RowToYuv;
};

template <> struct RgbRows<4> {
    static constexpr auto Two = Rgb32RowsToYuv;
    static constexpr auto One = Rgb32RowToYuv;
};

template <class Bitmap> void BitmapToYuv(const tagBITMAPINFOHEADER& header, unsigned char* bits, const Planes& planes)
{
    if (!HasPicture(header))
        return;
    const int width = header.biWidth;
    const int height = header.biHeight;
    int row = 0;
    for (; row < Even(height); row += 2) {
        const YuvRows out = {planes.Y(row), planes.Y(row + 1), planes.U(row), planes.V(row)};
        RgbRows<Bitmap::bytes>::Two(Bitmap::Row(bits, header, row), Bitmap::Row(bits, header, row + 1), out, width);
    }
    if (row < height)
        RgbRows<Bitmap::bytes>::One(Bitmap::Row(bits, header, row), planes.Y(row), planes.U(row), planes.V(row),
                                    WidthOfRow(header, row));
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
    YuvToBitmap<BottomUpBitmap<3>>(*lpDstBmi, lpDstBits, {pY, pU, pV, nPt_Y, nPt_U, nPt_V}, YuvRowToRgb24);
}

void Yuv420_2_rgb32(tagBITMAPINFOHEADER* lpDstBmi, unsigned char* lpDstBits, unsigned char* pY, unsigned char* pU,
                    unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V)
{
    REQUIRE(lpDstBmi && lpDstBmi->biBitCount == 32, "lpDstBmi && lpDstBmi->biBitCount == 32");
    REQUIRE(lpDstBits && pY && pU && pV, "lpDstBits && pY && pU && pV");
    YuvToBitmap<BottomUpBitmap<4>>(*lpDstBmi, lpDstBits, {pY, pU, pV, nPt_Y, nPt_U, nPt_V}, YuvRowToRgb32);
}

void Yuv420_2_Argb(tagBITMAPINFOHEADER* lpDstBmi, unsigned char* lpDstBits, unsigned char* pY, unsigned char* pU,
                   unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V)
{
    REQUIRE(lpDstBmi && lpDstBmi->biBitCount == 32, "lpDstBmi && lpDstBmi->biBitCount == 32");
    REQUIRE(lpDstBits && pY && pU && pV, "lpDstBits && pY && pU && pV");
    YuvToBitmap<TopDownBitmap>(*lpDstBmi, lpDstBits, {pY, pU, pV, nPt_Y, nPt_U, nPt_V}, YuvRowToArgb);
}

void Yuv420_2_rgb24Simple(tagBITMAPINFOHEADER* lpDstBmi, unsigned char* lpDstBits, unsigned char* pY, unsigned char* pU,
                          unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V)
{
    if (!lpDstBmi || !HasPicture(*lpDstBmi) || !lpDstBits || !pY || !pU || !pV)
        return;
    const Planes planes = {pY, pU, pV, nPt_Y, nPt_U, nPt_V};
    for (int row = 0; row < Even(lpDstBmi->biHeight); ++row) {
        unsigned char* out = BottomUpBitmap<3>::Row(lpDstBits, *lpDstBmi, row);
        for (int x = 0; x < Even(lpDstBmi->biWidth); ++x, out += 3) {
            int R, G, B;
            PixelYUV_2_RGB(planes.Y(row)[x], planes.U(row)[x / 2], planes.V(row)[x / 2], R, G, B);
            out[0] = static_cast<unsigned char>(B);
            out[1] = static_cast<unsigned char>(G);
            out[2] = static_cast<unsigned char>(R);
        }
    }
}

void Rgb24_2_yuv420(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V,
                    tagBITMAPINFOHEADER* lpSrcBmi, unsigned char* lpSrcBits)
{
    REQUIRE(lpSrcBmi && lpSrcBmi->biBitCount == 24, "lpSrcBmi && lpSrcBmi->biBitCount == 24");
    REQUIRE(lpSrcBits && pY && pU && pV, "lpSrcBits && pY && pU && pV");
    BitmapToYuv<BottomUpBitmap<3>>(*lpSrcBmi, lpSrcBits, {pY, pU, pV, nPt_Y, nPt_U, nPt_V});
}

void Rgb32_2_yuv420(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V,
                    tagBITMAPINFOHEADER* lpSrcBmi, unsigned char* lpSrcBits)
{
    REQUIRE(lpSrcBmi && lpSrcBmi->biBitCount == 32, "lpSrcBmi && lpSrcBmi->biBitCount == 32");
    REQUIRE(lpSrcBits && pY && pU && pV, "lpSrcBits && pY && pU && pV");
    BitmapToYuv<BottomUpBitmap<4>>(*lpSrcBmi, lpSrcBits, {pY, pU, pV, nPt_Y, nPt_U, nPt_V});
}

void Argb_2_yuv420(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V,
                   tagBITMAPINFOHEADER* lpSrcBmi, unsigned char* lpSrcBits)
{
    REQUIRE(lpSrcBmi && lpSrcBmi->biBitCount == 32, "lpSrcBmi && lpSrcBmi->biBitCount == 32");
    REQUIRE(lpSrcBits && pY && pU && pV, "lpSrcBits && pY && pU && pV");
    BitmapToYuv<TopDownBitmap>(*lpSrcBmi, lpSrcBits, {pY, pU, pV, nPt_Y, nPt_U, nPt_V});
}

void Rgb32_2_yuv420A(unsigned char* pY, unsigned char* pU, unsigned char* pV, unsigned char* pA, int nPt_Y, int nPt_U,
                     int nPt_V, tagBITMAPINFOHEADER* lpSrcBmi, unsigned char* lpSrcBits)
{
    REQUIRE(lpSrcBmi && lpSrcBmi->biBitCount == 32, "lpSrcBmi && lpSrcBmi->biBitCount == 32");
    REQUIRE(lpSrcBits && pY && pU && pV, "lpSrcBits && pY && pU && pV");
    BitmapToYuv<BottomUpBitmap<4>>(*lpSrcBmi, lpSrcBits, {pY, pU, pV, nPt_Y, nPt_U, nPt_V});
    if (!pA || !HasPicture(*lpSrcBmi))
        return;
    for (int row = 0; row < lpSrcBmi->biHeight; ++row)
        AlphaRow(BottomUpBitmap<4>::Row(lpSrcBits, *lpSrcBmi, row), RowOf(pA, row, nPt_Y), WidthOfRow(*lpSrcBmi, row));
}

void Rgb24_2_yuv420Simple(unsigned char* pY, unsigned char* pU, unsigned char* pV, int nPt_Y, int nPt_U, int nPt_V,
                          tagBITMAPINFOHEADER* lpSrcBmi, unsigned char* lpSrcBits)
{
    if (!lpSrcBmi || !HasPicture(*lpSrcBmi) || !lpSrcBits || !pY || !pU || !pV)
        return;
    const Planes planes = {pY, pU, pV, nPt_Y, nPt_U, nPt_V};
    for (int row = 0; row < Even(lpSrcBmi->biHeight); row += 2) {
        for (int x = 0; x < Even(lpSrcBmi->biWidth); x += 2) {
            int sumU = 0, sumV = 0;
            for (int k = 0; k < 4; ++k) {
                const Bgr pixel(BottomUpBitmap<3>::Row(lpSrcBits, *lpSrcBmi, row + k / 2) + 3 * (x + k % 2));
                int Y, U, V;
                PixelRGB_2_YUV(pixel.r, pixel.g, pixel.b, Y, U, V);
                planes.Y(row + k / 2)[x + k % 2] = static_cast<unsigned char>(Y);
                sumU += U;
                sumV += V;
            }
            planes.U(row)[x / 2] = static_cast<unsigned char>(sumU >> 2);
            planes.V(row)[x / 2] = static_cast<unsigned char>(sumV >> 2);
        }
    }
}
