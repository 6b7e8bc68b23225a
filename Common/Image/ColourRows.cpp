#include "Common/Image/ColourRows.h"

#include "Common/Image/ColourKernels.h"
#include "Common/InstructionSet.h"

#include <cstddef>
#include <cstdint>

namespace
{

unsigned char Byte(int sample)
{
    return static_cast<unsigned char>(sample);
}

// ---- YUV to RGB ----

struct NoFourthByte {
    static constexpr int bytes = 3;
    static void Finish(unsigned char*) {}
};

struct KeptFourthByte {
    static constexpr int bytes = 4;
    static void Finish(unsigned char*) {}
};

struct OpaqueFourthByte {
    static constexpr int bytes = 4;
    static void Finish(unsigned char* out) { out[3] = 255; }
};

template <class Pixel> void YuvToRgb(const ConstYuvRows& in, const PixelRows& out, int width)
{
    for (int64_t x = 0; x < width; ++x) {
        const ChromaBases bases(in.u[x / 2], in.v[x / 2]);
        PixelFromBase(bases, in.upperY[x], out.upper + x * Pixel::bytes);
        PixelFromBase(bases, in.lowerY[x], out.lower + x * Pixel::bytes);
        Pixel::Finish(out.upper + x * Pixel::bytes);
        Pixel::Finish(out.lower + x * Pixel::bytes);
    }
}

void YuvToRgb24Rounded(const ConstYuvRows& in, const PixelRows& out, int width)
{
    const auto put = [](const RgbPixel& pixel, unsigned char* to) {
        to[0] = Byte(pixel.b);
        to[1] = Byte(pixel.g);
        to[2] = Byte(pixel.r);
    };
    for (int64_t x = 0; x < width; ++x) {
        put(RoundedRgb(in.upperY[x], in.u[x / 2], in.v[x / 2]), out.upper + 3 * x);
        put(RoundedRgb(in.lowerY[x], in.u[x / 2], in.v[x / 2]), out.lower + 3 * x);
    }
}

// ---- RGB to YUV ----

template <int bytes> void RgbToYuv(const ConstPixelRows& in, const YuvRows& out, int width)
{
    const unsigned char *upper = in.upper, *lower = in.lower;
    int x = 0;
    for (; x < width - 1; x += 2, upper += ptrdiff_t{2} * bytes, lower += ptrdiff_t{2} * bytes) {
        const Bgr a(upper), b(upper + bytes), c(lower), d(lower + bytes);
        out.upperY[x] = Byte(LumaTerm(a));
        out.upperY[x + 1] = Byte(LumaTerm(b));
        out.lowerY[x] = Byte(LumaTerm(c));
        out.lowerY[x + 1] = Byte(LumaTerm(d));
        out.u[x / 2] = Byte(ChromaMean4(CbTerm(a), CbTerm(b), CbTerm(c), CbTerm(d)));
        out.v[x / 2] = Byte(ChromaMean4(CrTerm(a), CrTerm(b), CrTerm(c), CrTerm(d)));
    }
    if (x < width) {
        const Bgr a(upper), c(lower);
        out.upperY[x] = out.upperY[x + 1] = Byte(LumaTerm(a));
        out.lowerY[x] = out.lowerY[x + 1] = Byte(LumaTerm(c));
        out.u[x / 2] = Byte(ChromaMean2(CbTerm(a), CbTerm(c)));
        out.v[x / 2] = Byte(ChromaMean2(CrTerm(a), CrTerm(c)));
    }
}

void Rgb24ToYuvRounded(const ConstPixelRows& in, const YuvRows& out, int width)
{
    const auto yuvAt = [](const unsigned char* pixel) { return RoundedYuv(pixel[2], pixel[1], pixel[0]); };
    for (int64_t x = 0; x < width; x += 2) {
        const YuvPixel a = yuvAt(in.upper + 3 * x), b = yuvAt(in.upper + 3 * x + 3);
        const YuvPixel c = yuvAt(in.lower + 3 * x), d = yuvAt(in.lower + 3 * x + 3);
        out.upperY[x] = Byte(a.y);
        out.upperY[x + 1] = Byte(b.y);
        out.lowerY[x] = Byte(c.y);
        out.lowerY[x + 1] = Byte(d.y);
        out.u[x / 2] = Byte((a.u + b.u + c.u + d.u) >> 2);
        out.v[x / 2] = Byte((a.v + b.v + c.v + d.v) >> 2);
    }
}

void Alpha(const unsigned char* row, unsigned char* a, int width)
{
    for (int x = 0; x < width; ++x, row += 4)
        a[x] = row[3];
    if (width % 2 != 0)
        a[width] = a[width - 1];
}

// ---- packed 4:2:2 ----

void Rgb24ToPacked(const unsigned char* row, unsigned char* out, int width, PairOrder order)
{
    int x = 0;
    for (; x < width - 1; x += 2, row += 6, out += 4) {
        const Bgr a(row), b(row + 3);
        out[order.y0] = Byte(LumaTerm(a));
        out[order.y1] = Byte(LumaTerm(b));
        out[order.u] = Byte(ChromaMean2(CbTerm(a), CbTerm(b)));
        out[order.v] = Byte(ChromaMean2(CrTerm(a), CrTerm(b)));
    }
    if (x < width) {
        const Bgr a(row);
        out[order.y0] = out[order.y1] = Byte(LumaTerm(a));
        out[order.u] = Byte(ChromaMean1(CbTerm(a)));
        out[order.v] = Byte(ChromaMean1(CrTerm(a)));
    }
}

void PackedToRgb24(const unsigned char* row, unsigned char* out, int width, PairOrder order)
{
    for (int64_t x = 0; x < width; x += 2, row += 4, out += 6) {
        const ChromaBases bases(row[order.u], row[order.v]);
        PixelFromBase(bases, row[order.y0], out);
        if (x + 1 < width)
            PixelFromBase(bases, row[order.y1], out + 3);
    }
}

void PackedToYuv(const ConstPixelRows& in, const YuvRows& out, int pairs, PairOrder order)
{
    const unsigned char *upper = in.upper, *lower = in.lower;
    for (int64_t i = 0; i < pairs; ++i, upper += 4, lower += 4) {
        out.upperY[2 * i] = upper[order.y0];
        out.upperY[2 * i + 1] = upper[order.y1];
        out.lowerY[2 * i] = lower[order.y0];
        out.lowerY[2 * i + 1] = lower[order.y1];
        out.u[i] = Byte((upper[order.u] + lower[order.u]) >> 1);
        out.v[i] = Byte((upper[order.v] + lower[order.v]) >> 1);
    }
}

void YuvToPacked(const ConstYuvRows& in, const PixelRows& out, int pairs, PairOrder order)
{
    unsigned char *upper = out.upper, *lower = out.lower;
    for (int64_t i = 0; i < pairs; ++i, upper += 4, lower += 4) {
        upper[order.y0] = in.upperY[2 * i];
        upper[order.y1] = in.upperY[2 * i + 1];
        lower[order.y0] = in.lowerY[2 * i];
        lower[order.y1] = in.lowerY[2 * i + 1];
        upper[order.u] = lower[order.u] = in.u[i];
        upper[order.v] = lower[order.v] = in.v[i];
    }
}

void SwapPacked(const unsigned char* row, unsigned char* out, int pairs)
{
    for (int64_t i = 0; i < int64_t{2} * pairs; ++i, row += 2, out += 2) {
        out[0] = row[1];
        out[1] = row[0];
    }
}

constexpr ColourTable kPlain = {YuvToRgb<NoFourthByte>,
                                YuvToRgb<KeptFourthByte>,
                                YuvToRgb<OpaqueFourthByte>,
                                YuvToRgb24Rounded,
                                RgbToYuv<3>,
                                RgbToYuv<4>,
                                Rgb24ToYuvRounded,
                                Alpha,
                                Rgb24ToPacked,
                                PackedToRgb24,
                                PackedToYuv,
                                YuvToPacked,
                                SwapPacked};

} // namespace

const ColourTable& PlainColourRows()
{
    return kPlain;
}

const ColourTable& ColourRows()
{
#if ENCMGR_X86_SETS >= 3
    static const RowTables<ColourTable> s_tables(
        kPlain, {OverwriteColourRowsSse41, OverwriteColourRowsAvx2, OverwriteColourRowsAvx512});
#elif ENCMGR_X86_SETS
    static const RowTables<ColourTable> s_tables(kPlain, {OverwriteColourRowsSse41, OverwriteColourRowsAvx2});
#else
    static const RowTables<ColourTable> s_tables(kPlain, {});
#endif
    return s_tables.Active();
}
