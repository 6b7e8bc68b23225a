// Every colour conversion against its formula, worked out anew for each pixel of pictures and rectangles of all sizes.
#include "Common/Image/ColourRows.h"
#include "Common/Image/ImageConvert.h"
#include "encmgr/Log.h"
#include "tests/InstructionSets.h"

#include <algorithm>
#include <array>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <deque>
#include <functional>
#include <gtest/gtest.h>
#include <numeric>
#include <vector>

namespace
{

#ifdef __SANITIZE_ADDRESS__
constexpr int sampleStep = 15; // of 255, so that both ends are among the samples
#else
constexpr int sampleStep = 1;
#endif

using Triple = std::array<int, 3>;

// Sums of products with an offset, over 2^bits and rounded down, each clamped to a range.
struct Matrix {
    int bits;
    int row[3][6];
};
constexpr Matrix fromBgr = {14,
                            {{1606, 8258, 4211, 16 << 14, 0, 255},
                             {7193, -4768, -2425, 1 << 21, 0, 255},
                             {-1163, -6029, 7193, 1 << 21, 0, 255}}};
constexpr Matrix fromBgrRounded = {
    10, {{100, 516, 263, 16896, 16, 235}, {450, -298, -152, 131584, 16, 240}, {-73, -377, 450, 131584, 16, 240}}};
constexpr Matrix fromYuv = {
    13,
    {{9536, 16532, 0, -2268594, 0, 255}, {9536, -3203, -6660, 1109918, 0, 255}, {9536, 0, 13074, -1826095, 0, 255}}};
constexpr Matrix fromYuvRounded = {
    10, {{1192, 2065, 0, -282880, 0, 255}, {1192, -401, -833, 139392, 0, 255}, {1192, 0, 1634, -227712, 0, 255}}};

Triple operator*(const Matrix& m, const Triple& t)
{
    const auto product = [&](const int(&row)[6]) {
        return std::clamp((row[0] * t[0] + row[1] * t[1] + row[2] * t[2] + row[3]) >> m.bits, row[4], row[5]);
    };
    return {product(m.row[0]), product(m.row[1]), product(m.row[2])};
}

constexpr unsigned char Byte(int value)
{
    return static_cast<unsigned char>(value);
}

void Put(const Triple& bgr, unsigned char* pixel)
{
    std::transform(bgr.begin(), bgr.end(), pixel, Byte);
}

// Rows in memory, and what they held or hold else.
struct Plane {
    unsigned char* At(int row, int byte) { return first + row * pitch + byte; }

    Bytes bits, other;
    unsigned char* first;
    int pitch;
};

// Between bitmaps and planar pictures. The one without a function is that with an alpha plane.
struct Converter {
    int bytes; // per pixel of the bitmap
    bool topDown, simple;
    decltype(&Yuv420_2_rgb24) toBitmap;
    decltype(&Rgb24_2_yuv420) toPlanes;

    void Run(tagBITMAPINFOHEADER* header, unsigned char* bits, unsigned char* y, unsigned char* u, unsigned char* v,
             unsigned char* a, int pitchY, int pitchU, int pitchV) const
    {
        if (toBitmap)
            toBitmap(header, bits, y, u, v, pitchY, pitchU, pitchV);
        else if (toPlanes)
            toPlanes(y, u, v, pitchY, pitchU, pitchV, header, bits);
        else
            Rgb32_2_yuv420A(y, u, v, a, pitchY, pitchU, pitchV, header, bits);
    }
};
constexpr Converter converters[] = {
    {3, false, false, Yuv420_2_rgb24, nullptr},      {4, false, false, Yuv420_2_rgb32, nullptr},
    {4, true, false, Yuv420_2_Argb, nullptr},        {3, false, true, Yuv420_2_rgb24Simple, nullptr},
    {3, false, false, nullptr, Rgb24_2_yuv420},      {4, false, false, nullptr, Rgb32_2_yuv420},
    {4, true, false, nullptr, Argb_2_yuv420},        {4, false, false, nullptr, nullptr},
    {3, false, true, nullptr, Rgb24_2_yuv420Simple},
};

tagBITMAPINFOHEADER Header(const Converter& c, int width, int height)
{
    return {7, width, height, 7, static_cast<uint16_t>(c.simple ? 7 : c.bytes * 8), 7, 7, 7, 7, 7, 7};
}

// The parameter names the form of the row functions that the suite runs with.
class ColourTest : public AtEachSet
{
protected:
    // Planes for one trial. A source ends with the last row's last byte; a target has guards around.
    Plane& Source(int bytes, int rows) { return Add(0, bytes, rows, Random(0, 5), Random(0, 1)); }
    Plane& Target(int bytes, int rows) { return Add(61, bytes, rows, Random(0, 5), Random(0, 1)); }
    Plane& Add(size_t guard, int bytes, int rows, int extraPitch, bool upward = false)
    {
        const int pitch = bytes + extraPitch, last = (rows - 1) * pitch;
        Plane& plane = m_planes.emplace_back();
        plane.bits.resize(guard + static_cast<size_t>(last + bytes) + guard);
        Fill(plane.bits);
        plane.other = plane.bits;
        plane.first = plane.bits.data() + guard + (upward ? last : 0);
        plane.pitch = upward ? -pitch : pitch;
        return plane;
    }

    // Stands between conversions and their definitions, which write the targets byte by byte.
    void Rewind()
    {
        for (Plane& plane : m_planes)
            std::swap_ranges(plane.bits.begin(), plane.bits.end(), plane.other.begin());
    }
    void Compare(const std::string& what, int width)
    {
        for (size_t i = 0; i < m_planes.size(); ++i)
            ASSERT_EQ(m_planes[i].bits, m_planes[i].other) << what << ", plane " << i << ", width " << width;
        m_planes.clear();
    }

    std::deque<Plane> m_planes;
};

TEST_P(ColourTest, PicturesEqualTheFormulaAtEverySize)
{
    for (const Converter& c : converters)
        for (int i = 0; i < 8 * 70 + 20 && !HasFailure(); ++i) {
            const int w = i < 8 * 70 ? 1 + i / 8 : Random(70, 4500), h = Random(1, 6), cw = (w + 1) / 2,
                      ch = (h + 1) / 2;
            const int extra = Random(0, 5), upward = Random(0, 1), wide = c.toBitmap || c.simple ? w : (w + 1) / 2 * 2;
            const size_t guard = c.toBitmap ? 0 : 61;
            Plane& bitmap = Add(61 - guard, w * c.bytes, h, c.bytes == 3 ? w % 4 : 0);
            Plane &y = Add(guard, wide, h, extra, upward), &a = Add(guard, wide, h, extra, upward);
            Plane &u = Add(guard, cw, ch, Random(0, 5), upward), &v = Add(guard, cw, ch, Random(0, 5), !upward);
            tagBITMAPINFOHEADER header = Header(c, w, h);
            c.Run(&header, bitmap.first, y.first, u.first, v.first, a.first, y.pitch, u.pitch, v.pitch);
            Rewind();
            std::vector<Triple> sums(static_cast<size_t>(cw * ch)); // of each block: count, U, V
            for (int k = 0; k < w * h; ++k) {
                const int x = k % w, r = k / w, oddX = w % 2 && x == w - 1, oddY = h % 2 && r == h - 1;
                if (oddX + oddY > (c.simple ? 0 : 1))
                    continue; // stays as it was
                unsigned char* const p = bitmap.At(c.topDown ? r : h - 1 - r, x * c.bytes);
                unsigned char *const inU = u.At(r / 2, x / 2), *const inV = v.At(r / 2, x / 2);
                if (c.toBitmap) {
                    Put((c.simple ? fromYuvRounded : fromYuv) * Triple{*y.At(r, x), *inU, *inV}, p);
                    if (c.topDown)
                        p[3] = 255;
                    continue;
                }
                const Triple yuv = (c.simple ? fromBgrRounded : fromBgr) * Triple{p[0], p[1], p[2]};
                std::fill_n(y.At(r, x), 1 + oddX, Byte(yuv[0]));
                if (!c.toPlanes)
                    std::fill_n(a.At(r, x), 1 + oddX, p[3]);
                Triple& sum = sums[static_cast<size_t>(r / 2 * cw + x / 2)];
                ++sum[0];
                *inU = Byte((sum[1] += yuv[1]) / sum[0]); // the block's last pixel completes it
                *inV = Byte((sum[2] += yuv[2]) / sum[0]);
            }
            Compare("converter " + std::to_string(&c - converters), w);
        }
}

TEST_P(ColourTest, RectanglesEqualTheFormulaAtEverySize)
{
    static constexpr unsigned orders[] = {0, 1, 2, 0x80000000};
    for (int i = 0; i < 24 * 70 + 40 && !HasFailure(); ++i) {
        const int cx = i < 24 * 70 ? 1 + i / 24 : Random(70, 4500), cy = Random(1, 5), pairs = (cx + 1) / 2,
                  rows = (cy + 1) / 2 * 2;
        const int xs = Random(0, 5), ys = Random(0, 5), xd = Random(0, 5), yd = Random(0, 2 * ys + 1);
        const int heightS = ys + cy + Random(0, 2), heightD = yd + cy + Random(0, 2);
        const unsigned order = orders[Random(0, 3)], other = orders[Random(0, 3)];
        const int atY = order ? 0 : 1, atU = 1 - atY, atV = atU + 2; // offsets in a pair
        const int swap = order != other, bytes = swap ? 4 * pairs : 2 * cx, cs = (xs + 1) / 2, cd = (xd + 1) / 2;

        Plane &bgr = Add(0, 3 * (xs + cx), heightS, cx % 7), &toPairs = Add(61, (xd + cx + 1) / 2 * 4, yd + cy, cx % 5);
        Plane &ofPairs = Source((xs + cx + 1) / 2 * 4, ys + cy), &toBgr = Target(3 * (xd + cx), heightD);
        Plane &blocks = Source(2 * xs + 4 * pairs, ys + rows), &toBlocks = Target(2 * xd + 4 * pairs, yd + rows);
        Plane &y = Source(xs + 2 * pairs, ys + rows), &toY = Target(xd + 2 * pairs, yd + rows);
        Plane &u = Source(xs / 2 + pairs, ys / 2 + rows / 2), &toU = Target(xd / 2 + pairs, (yd + rows) / 2);
        Plane &v = Source(xs / 2 + pairs, ys / 2 + rows / 2), &toV = Add(61, xd / 2 + pairs, (yd + rows) / 2, cx % 3);
        Plane &packed = Source(2 * xs + bytes, ys + cy), &toPacked = Target(2 * xd + bytes, yd + cy);
        Plane &y2 = Source(xs + cx, ys + rows), &toY2 = Target(xd + cx, yd + rows);
        Plane &u2 = Source(cs + pairs, ys / 2 + rows / 2), &toU2 = Target(cd + pairs, (yd + rows) / 2);
        Plane &v2 = Source(cs + pairs, ys / 2 + rows / 2), &toV2 = Target(cd + pairs, (yd + rows) / 2);
        Rgb24_2_YUY2(toPairs.first, toPairs.pitch, xd, yd, cx, cy, order, bgr.first, heightS, bgr.pitch, xs, ys);
        YUY2_2_Rgb24(toBgr.first, heightD, toBgr.pitch, xd, yd, cx, cy, ofPairs.first, ofPairs.pitch, order, xs, ys);
        YUY2_2_Yuv420(toY.first, toU.first, toV.first, toY.pitch, toU.pitch, toV.pitch, xd, yd, cx, cy, blocks.first,
                      blocks.pitch, order, xs, ys);
        Yuv420_2_YUY2(toBlocks.first, toBlocks.pitch, xd, yd, cx, cy, order, y.first, u.first, v.first, y.pitch,
                      u.pitch, v.pitch, xs, ys);
        YUY2_Blt_fast(toPacked.first, toPacked.pitch, xd, yd, cx, cy, order, packed.first, packed.pitch, other, xs, ys);
        YV12_Blt_fast(toY2.first, toU2.first, toV2.first, toY2.pitch, toU2.pitch, toV2.pitch, xd, yd, cx, yd + cy,
                      y2.first, u2.first, v2.first, y2.pitch, u2.pitch, v2.pitch, xs, ys);
        Rewind();
        for (int r = 0; r < cy; ++r) {
            for (int k = 0; k < cx; ++k) {
                const int x = xd + k, partner = (x ^ 1) - xd;
                const bool both = partner >= 0 && partner < cx;
                const unsigned char* const p = bgr.At(heightS - 1 - ys - r, 3 * (xs + k));
                const unsigned char* const q = both ? p + 3 * (partner - k) : p;
                const Triple own = fromBgr * Triple{p[0], p[1], p[2]}, its = fromBgr * Triple{q[0], q[1], q[2]};
                unsigned char* const pair = toPairs.At(yd + r, x / 2 * 4);
                pair[x % 2 * 2 + atY] = Byte(own[0]);
                if (!both && x % 2 == 0)
                    pair[2 + atY] = Byte(own[0]);
                pair[atU] = Byte((own[1] + its[1]) / 2);
                pair[atV] = Byte((own[2] + its[2]) / 2);
                const unsigned char* const from = ofPairs.At(ys + r, (xs + k) / 2 * 4);
                Put(fromYuv * Triple{from[(xs + k) % 2 * 2 + atY], from[atU], from[atV]},
                    toBgr.At(heightD - 1 - yd - r, 3 * (xd + k)));
            }
            for (int k = 0; k < bytes; ++k)
                *toPacked.At(yd + r, 2 * xd + k) = *packed.At(ys + r, 2 * xs + (k ^ swap));
        }
        for (int r = 0; r < rows; ++r) {
            const int rs = ys / 2 + r / 2, rd = yd / 2 + r / 2; // of chroma
            for (int k = 0; k < 2 * pairs; ++k) {
                const unsigned char* const upper = blocks.At(ys + r / 2 * 2, 2 * xs + k / 2 * 4);
                *toY.At(yd + r, xd + k) = *blocks.At(ys + r, 2 * (xs + k) + atY);
                *toU.At(rd, xd / 2 + k / 2) = Byte((upper[atU] + upper[blocks.pitch + atU]) / 2);
                *toV.At(rd, xd / 2 + k / 2) = Byte((upper[atV] + upper[blocks.pitch + atV]) / 2);
                unsigned char* const pair = toBlocks.At(yd + r, 2 * xd + k / 2 * 4);
                pair[k % 2 * 2 + atY] = *y.At(ys + r, xs + k);
                pair[atU] = *u.At(rs, xs / 2 + k / 2);
                pair[atV] = *v.At(rs, xs / 2 + k / 2);
            }
            std::copy_n(y2.At(ys + r, xs), cx, toY2.At(yd + r, xd));
            std::copy_n(u2.At(rs, cs), pairs, toU2.At(rd, cd));
            std::copy_n(v2.At(rs, cs), pairs, toV2.At(rd, cd));
        }
        Compare("rectangles", cx);
    }
}

// All B for each G and R, in blocks of four alike, so that chroma shows each colour on its own; and all Y for each U
// and V.
TEST_P(ColourTest, EveryColourEqualsTheFormula)
{
    Bytes bgr24(3 * 1024), bgr32(4 * 1024), alpha(1024), packed(1024), pairs(1024), y(512), u(128), v(128);
    Bytes planes[] = {Bytes(1536), Bytes(1536)}; // by the block kernels, and rounded
    Bytes bitmaps[] = {Bytes(3 * 512), Bytes(3 * 512), Bytes(4 * 512, 255)};
    for (int i = 0; i < 65536; i += i % 256 < 255 ? sampleStep : 256 * sampleStep - 255) {
        for (size_t k = 0; k < 256; ++k) {
            const Triple from = {static_cast<int>(k), i / 256, i % 256};
            const Triple yuv[] = {fromBgr * from, fromBgrRounded * from};
            const Triple bgr[] = {fromYuv * from, fromYuvRounded * from};
            Triple pixel, back;
            PixelRGB_2_YUV(from[2], from[1], from[0], pixel[0], pixel[1], pixel[2]);
            PixelYUV_2_RGB(from[0], from[1], from[2], back[2], back[1], back[0]);
            ASSERT_EQ(pixel, yuv[1]) << i;
            ASSERT_EQ(back, bgr[1]) << i;
            for (const size_t place : {2 * k, 2 * k + 1, 2 * k + 512, 2 * k + 513}) {
                Put(from, &bgr24[3 * place]);
                Put(from, &bgr32[4 * place]);
                planes[0][place] = Byte(yuv[0][0]);
                planes[1][place] = Byte(yuv[1][0]);
            }
            for (size_t rounded = 0; rounded < 2; ++rounded) {
                planes[rounded][1024 + k] = Byte(yuv[rounded][1]);
                planes[rounded][1280 + k] = Byte(yuv[rounded][2]);
            }
            Put({yuv[0][0], yuv[0][1], yuv[0][0]}, &pairs[4 * k]);
            pairs[4 * k + 3] = Byte(yuv[0][2]);
            u[k / 2] = Byte(from[1]);
            v[k / 2] = Byte(from[2]);
            for (const size_t place : {k, k + 256}) {
                y[place] = packed[2 * place] = Byte(from[0]);
                packed[2 * place + 1] = Byte(from[1 + k % 2]);
                Put(bgr[0], &bitmaps[0][3 * place]);
                Put(bgr[1], &bitmaps[1][3 * place]);
                Put(bgr[0], &bitmaps[2][4 * place]);
            }
        }
        for (const Converter& c : converters) {
            const Bytes& expected = c.toBitmap ? bitmaps[c.bytes == 4 ? 2 : c.simple] : planes[c.simple];
            Bytes made(expected.size(), 255);
            tagBITMAPINFOHEADER header = Header(c, c.toBitmap ? 256 : 512, 2);
            if (c.toBitmap)
                c.Run(&header, &made[0], &y[0], &u[0], &v[0], nullptr, 256, 128, 128);
            else
                c.Run(&header, c.bytes == 4 ? &bgr32[0] : &bgr24[0], &made[0], &made[1024], &made[1280], &alpha[0], 512,
                      256, 256);
            ASSERT_EQ(made, expected) << "converter " << &c - converters << ", " << i;
        }
        Bytes made(1024), madeBitmap(3 * 512);
        Rgb24_2_YUY2(&made[0], 1024, 0, 0, 512, 1, 1, &bgr24[0], 2, 1536, 0, 0);
        ASSERT_EQ(made, pairs) << i;
        YUY2_2_Rgb24(&madeBitmap[0], 2, 768, 0, 0, 256, 2, &packed[0], 512, 1, 0, 0);
        ASSERT_EQ(madeBitmap, bitmaps[0]) << i;
    }
}

TEST(Colour, EverySetHasFormsOfItsOwn)
{
    ExpectFormsOfTheirOwn(ColourRows);
}

// Worked out by hand. The library equals these formulas.
TEST(Colour, KnownColours)
{
    const struct {
        const Matrix &byBlockKernels, &rounded;
        Triple colour, expected, expectedRounded;
    } rows[] = {{fromBgr, fromBgrRounded, {0, 0, 0}, {16, 128, 128}, {16, 128, 128}},
                {fromBgr, fromBgrRounded, {255, 255, 255}, {235, 128, 128}, {235, 128, 128}},
                {fromBgr, fromBgrRounded, {0, 0, 255}, {81, 90, 239}, {81, 90, 240}},
                {fromBgr, fromBgrRounded, {0, 255, 0}, {144, 53, 34}, {144, 54, 34}},
                {fromBgr, fromBgrRounded, {255, 0, 0}, {40, 239, 109}, {41, 240, 110}},
                {fromYuv, fromYuvRounded, {16, 128, 128}, {0, 0, 0}, {0, 0, 0}},
                {fromYuv, fromYuvRounded, {235, 128, 128}, {254, 254, 254}, {255, 255, 255}},
                {fromYuv, fromYuvRounded, {255, 128, 128}, {255, 255, 255}, {255, 255, 255}},
                {fromYuv, fromYuvRounded, {128, 128, 128}, {130, 130, 130}, {130, 130, 130}},
                {fromYuv, fromYuvRounded, {81, 90, 240}, {0, 0, 254}, {0, 0, 254}}};
    for (const auto& [byBlockKernels, rounded, colour, expected, expectedRounded] : rows) {
        EXPECT_EQ(byBlockKernels * colour, expected);
        EXPECT_EQ(rounded * colour, expectedRounded);
    }
    Triple t; // arguments beyond a byte are clamped to the ranges too
    PixelRGB_2_YUV(INT_MAX, INT_MIN, INT_MAX, t[0], t[1], t[2]);
    EXPECT_EQ(t, Triple({16, 240, 240}));
    PixelRGB_2_YUV(INT_MIN, INT_MAX, INT_MIN, t[0], t[1], t[2]);
    EXPECT_EQ(t, Triple({235, 16, 16}));
    PixelYUV_2_RGB(INT_MAX, INT_MIN, INT_MAX, t[0], t[1], t[2]);
    EXPECT_EQ(t, Triple({255, 255, 0}));
}

// In a child process whose standard error stream is buffered: the text must not be lost.
void ExpectAbort(const std::string& expression, const std::function<void()>& run)
{
    EXPECT_EXIT((std::setvbuf(stderr, nullptr, _IOFBF, BUFSIZ), run()), testing::KilledBySignal(SIGABRT),
                testing::MatchesRegex("[A-Za-z]+[.]cpp:[1-9][0-9]*: failed assertion `" + expression + "'\n"));
}

TEST(ColourDeathTest, FailedPreconditionsAreTold)
{
    unsigned char bits[64] = {};
    for (const Converter& c : converters)
        for (int fault = 0; !c.simple && fault < 7; ++fault) { // a buffer, the bit count, the header, header and bits
            unsigned char* p[] = {bits, bits, bits, bits};
            p[fault < 4 ? fault : 0] = fault < 4 || fault == 6 ? nullptr : bits;
            tagBITMAPINFOHEADER header = Header(c, 2, 2);
            header.biBitCount = static_cast<uint16_t>((fault == 4 ? 7 : c.bytes) * 8);
            const std::string name = c.toBitmap ? "lpDst" : "lpSrc", depth = std::to_string(8 * c.bytes);
            ExpectAbort(fault < 4 ? name + "Bits && pY && pU && pV"
                                  : name + "Bmi && " + name + "Bmi->biBitCount == " + depth,
                        [&] { c.Run(fault > 4 ? nullptr : &header, p[0], p[1], p[2], p[3], bits, 2, 1, 1); });
        }
    const auto toPacked = [&](unsigned char* to, unsigned char* from, int pitchTo, int pitchFrom) {
        return [=] { Rgb24_2_YUY2(to, pitchTo, 1, 0, 2, 1, 1, from, 1, pitchFrom, 1, 0); };
    };
    for (unsigned char* const p : {bits, static_cast<unsigned char*>(nullptr)}) {
        unsigned char* const q = p ? nullptr : bits;
        ExpectAbort("lpBitsDst && lpBitsSrc", toPacked(p, q, 0, 0));
        ExpectAbort("lpBitsDst && lpBitsSrc", [=] { YUY2_2_Rgb24(p, 1, 3, 0, 0, 1, 1, q, 4, 1, 0, 0); });
    }
    ExpectAbort(R"(\(xDst \+ cxDst\) \* 2 <= nPitchDst)", toPacked(bits, bits, 5, 0));
    ExpectAbort("nPitchSrc / 3 - xSrc >= cxDst", toPacked(bits, bits, 6, 8));
    toPacked(bits, bits + 32, 6, 9)();
    // The bound, the first V sample of row ySrc + cy, may itself be written.
    const auto toPlanes = [&](int x) {
        return [=, &bits] { YUY2_2_Yuv420(bits, bits, bits + 48, 8, 2, 2, x, 4, 2, 2, bits + 56, 4, 1, 0, 0); };
    };
    toPlanes(0)();
    ExpectAbort(R"(\(char\*\)V <= \(\(char\*\)pV \+ \(ySrc \+ cy\) \* nPt_V\))", toPlanes(2));
}

TEST(Colour, EmptySizesAndMissingBuffersConvertNothing)
{
    Bytes bytes(256, 7);
    unsigned char* const p = &bytes[128];
    constexpr int sizes[][2] = {{0, 2}, {2, 0}, {-1, 2}, {2, -1}, {INT_MIN, INT_MAX}, {INT_MAX, INT_MIN}};
    for (const auto& [w, h] : sizes) {
        for (const Converter& c : converters) {
            tagBITMAPINFOHEADER header = Header(c, w, h);
            c.Run(&header, p, p, p, p, p, 2, 1, 1);
        }
        if (w < INT_MAX)
            Rgb24_2_YUY2(p, 8, 0, 0, w, h, 1, p, 2, 8, 0, 0);
        YUY2_2_Rgb24(p, 2, 8, 0, 0, w, h, p, 8, 1, 0, 0);
        YUY2_2_Yuv420(p, p, p, 8, 4, 4, 0, 0, w, h, p, 8, 1, 0, 0);
        Yuv420_2_YUY2(p, 8, 0, 0, w, h, 1, p, p, p, 8, 4, 4, 0, 0);
        YUY2_Blt_fast(p, 8, 0, 0, w, h, w < 0, p, 8, 1, 0, 0);
        YV12_Blt_fast(p, p, p, 8, 4, 4, 0, 3, w, std::min(h, 3), p, p, p, 8, 4, 4, 0, 0);
    }
    for (size_t missing = 0; missing < 6; ++missing) {
        unsigned char* q[] = {p, p, p, p, p, p};
        q[missing] = nullptr;
        tagBITMAPINFOHEADER header = Header(converters[3], 2, 2);
        for (const size_t simple : {3, 8})
            if (missing < 5)
                converters[simple].Run(missing < 4 ? &header : nullptr, q[0], q[1], q[2], q[3], p, 2, 1, 1);
        if (missing < 4) {
            YUY2_2_Yuv420(q[0], q[1], q[2], 8, 4, 4, 0, 0, 2, 2, q[3], 8, 1, 0, 0);
            Yuv420_2_YUY2(q[0], 8, 0, 0, 2, 2, 1, q[1], q[2], q[3], 8, 4, 4, 0, 0);
        }
        if (missing < 2)
            YUY2_Blt_fast(q[0], 8, 0, 0, 2, 2, 1, q[1], 8, 1, 0, 0);
        YV12_Blt_fast(q[0], q[1], q[2], 8, 4, 4, 0, 0, 2, 2, q[3], q[4], q[5], 8, 4, 4, 0, 0);
    }
    EXPECT_EQ(bytes, Bytes(256, 7));
}

TEST(Colour, TracesAPictureToTheSink)
{
    std::pair<tagBITMAPINFOHEADER, Bytes> trace = {};
    const auto sink = [](void* pContext, const tagBITMAPINFOHEADER* pHeader, const unsigned char* pBits) {
        *static_cast<decltype(trace)*>(pContext) = {*pHeader, Bytes(pBits, pBits + pHeader->biSizeImage)};
        KXTraceSetSink(nullptr, nullptr); // from within
    };
    tagBITMAPINFO given = {{40, 5, 3, 1, 12, 1, 2, 3, 4, 5, 6}};
    tagBITMAPINFOHEADER wanted = {40, 5, 3, 1, 24, 0, 48, 3, 4, 5, 6};
    Bytes block(40 + 27), expected(48);
    std::iota(block.begin() + 40, block.end(), static_cast<unsigned char>(90));
    std::memcpy(block.data(), &given, 40);
    unsigned char* const planes = &block[40]; // V begins at 15, U at 21
    Yuv420_2_rgb24(&wanted, expected.data(), planes, planes + 21, planes + 15, 5, 3, 3);
    for (const bool after : {true, false}) {
        trace = {};
        KXTraceSetSink(sink, &trace);
        xTraceImage(after ? reinterpret_cast<tagBITMAPINFO*>(block.data()) : &given, after ? nullptr : planes);
        EXPECT_EQ(std::memcmp(&trace.first, &wanted, sizeof(wanted)), 0);
        EXPECT_EQ(trace.second, expected);
    }
    xTraceImage(&given, planes); // without a sink

    trace = {};
    KXTraceSetSink(sink, &trace);
    xTraceImage(nullptr, planes);
    for (const auto& [w, h] :
         {std::pair{INT_MAX, INT_MAX}, {715827882, 1}, {1, 1 << 29}, {46341, 15447}, {-5, -3}, {0, 3}}) {
        given.bmiHeader.biWidth = w;
        given.bmiHeader.biHeight = h;
        xTraceImage(&given, planes);
    }
    EXPECT_TRUE(trace.second.empty());
    KXTraceSetSink(nullptr, nullptr);
}

AT_EACH_SET(ColourTest);

} // namespace
