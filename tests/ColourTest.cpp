// Every colour conversion against its formula, worked out anew for each pixel of pictures and rectangles of all sizes.
#include "Common/Image/ColourRows.h"
#include "Common/Image/ImageConvert.h"
#include "encmgr/Log.h"
#include "tests/ColourModel.h"
#include "tests/InstructionSets.h"

#include <algorithm>
#include <array>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
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

// The parameter names the form of the row functions that the suite runs with.
using ColourTest = AtEachSet;

TEST_P(ColourTest, PicturesEqualTheFormulaAtEverySize)
{
    for (const Converter& c : converters)
        for (int i = 0; i < 8 * 70 + 20; ++i)
            ASSERT_EQ(ColourTrial(*this).Picture(c, i < 8 * 70 ? 1 + i / 8 : Random(70, 4500)), "");
}

TEST_P(ColourTest, RectanglesEqualTheFormulaAtEverySize)
{
    for (int i = 0; i < 24 * 70 + 40; ++i)
        ASSERT_EQ(ColourTrial(*this).Rectangles(i < 24 * 70 ? 1 + i / 24 : Random(70, 4500)), "");
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
