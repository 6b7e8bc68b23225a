#include "Common/Image/ColourRows.h"

#include "Common/Image/ColourKernels.h"

#include <cstdint>

namespace
{

unsigned char Byte(int sample)
{
    return static_cast<unsigned char>(sample);
}

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

template <class Pixel>
void YuvRowToRgb(const unsigned char* y, const unsigned char* u, const unsigned char* v, unsigned char* out, int width)
{
    for (int64_t x = 0; x < width; x += 2) {
        const ChromaBases bases(u[x / 2], v[x / 2]);
        for (int k = 0; k < 2 && k < width - x; ++k, out += Pixel::bytes) {
            PixelFromBase(bases, y[x + k], out);
            Pixel::Finish(out);
        }
    }
}

template <int bytes>
void RgbRowsToYuv(const unsigned char* upper, const unsigned char* lower, const YuvRows& out, int width)
{
    int x = 0;
    for (; x < width - 1; x += 2, upper += 2 * bytes, lower += 2 * bytes) {
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

template <int bytes>
void RgbRowToYuv(const unsigned char* row, unsigned char* y, unsigned char* u, unsigned char* v, int width)
{
    for (int x = 0; x < width; x += 2, row += 2 * bytes) {
        const Bgr a(row), b(row + bytes);
        y[x] = Byte(LumaTerm(a));
        y[x + 1] = Byte(LumaTerm(b));
        u[x / 2] = Byte(ChromaMean2(CbTerm(a), CbTerm(b)));
        v[x / 2] = Byte(ChromaMean2(CrTerm(a), CrTerm(b)));
    }
}

} // namespace

void YuvRowToRgb24(const unsigned char* y, const unsigned char* u, const unsigned char* v, unsigned char* out,
                   int width)
{
    YuvRowToRgb<NoFourthByte>(y, u, v, out, width);
}

void YuvRowToRgb32(const unsigned char* y, const unsigned char* u, const unsigned char* v, unsigned char* out,
                   int width)
{
    YuvRowToRgb<KeptFourthByte>(y, u, v, out, width);
}

void YuvRowToArgb(const unsigned char* y, const unsigned char* u, const unsigned char* v, unsigned char* out, int width)
{
    YuvRowToRgb<OpaqueFourthByte>(y, u, v, out, width);
}

void Rgb24RowsToYuv(const unsigned char* upper, const unsigned char* lower, const YuvRows& out, int width)
{
    RgbRowsToYuv<3>(upper, lower, out, width);
}

void Rgb32RowsToYuv(const unsigned char* upper, const unsigned char* lower, const YuvRows& out, int width)
{
    RgbRowsToYuv<4>(upper, lower, out, width);
}

void Rgb24RowToYuv(const unsigned char* row, unsigned char* y, unsigned char* u, unsigned char* v, int width)
{
    RgbRowToYuv<3>(row, y, u, v, width);
}

void Rgb32RowToYuv(const unsigned char* row, unsigned char* y, unsigned char* u, unsigned char* v, int width)
{
    RgbRowToYuv<4>(row, y, u, v, width);
}

void AlphaRow(const unsigned char* row, unsigned char* a, int width)
{
    for (int x = 0; x < width; ++x, row += 4)
        a[x] = row[3];
    if (width % 2 != 0)
        a[width] = a[width - 1];
}

void Rgb24RowToPacked(const unsigned char* row, unsigned char* out, int width, PairOrder order)
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

void PackedRowToRgb24(const unsigned char* row, unsigned char* out, int width, PairOrder order)
{
    for (int64_t x = 0; x < width; x += 2, row += 4, out += 6) {
        const ChromaBases bases(row[order.u], row[order.v]);
        PixelFromBase(bases, row[order.y0], out);
        if (x + 1 < width)
            PixelFromBase(bases, row[order.y1], out + 3);
    }
}

void PackedRowsToYuv(const unsigned char* upper, const unsigned char* lower, const YuvRows& out, int pairs,
                     PairOrder order)
{
    for (int i = 0; i < pairs; ++i, upper += 4, lower += 4) {
        out.upperY[2 * i] = upper[order.y0];
        out.upperY[2 * i + 1] = upper[order.y1];
        out.lowerY[2 * i] = lower[order.y0];
        out.lowerY[2 * i + 1] = lower[order.y1];
        out.u[i] = Byte((upper[order.u] + lower[order.u]) >> 1);
        out.v[i] = Byte((upper[order.v] + lower[order.v]) >> 1);
    }
}

void YuvRowToPacked(const unsigned char* y, const unsigned char* u, const unsigned char* v, unsigned char* out,
                    int pairs, PairOrder order)
{
    for (int i = 0; i < pairs; ++i, out += 4) {
        out[order.y0] = y[2 * i];
        out[order.y1] = y[2 * i + 1];
        out[order.u] = u[i];
        out[order.v] = v[i];
    }
}

void SwapPackedRow(const unsigned char* row, unsigned char* out, int pairs)
{
    for (int64_t i = 0; i < int64_t{2} * pairs; ++i, row += 2, out += 2) {
        out[0] = row[1];
        out[1] = row[0];
    }
}
