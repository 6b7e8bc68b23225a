// The toolbox in plain C gives the bytes of the library's functions, and refuses what lies outside of its records.
#include "Common/Audio/AudioConverter.h"
#include "Common/Image/ImageConvert.h"
#include "Common/Image/ImageResize.h"
#include "encmgr/encmgr_toolbox.h"

#include <algorithm>
#include <array>
#include <climits>
#include <gtest/gtest.h>
#include <random>
#include <tuple>
#include <vector>

namespace
{

using Bytes = std::vector<unsigned char>;

// Room for every picture of these tests, filled with other bytes for each seed.
Bytes Noise(unsigned seed)
{
    std::mt19937 engine(seed);
    Bytes bytes(1 << 16);
    for (unsigned char& byte : bytes)
        byte = static_cast<unsigned char>(engine());
    return bytes;
}

encmgr_planes PlanesIn(Bytes& bytes, int width, int height)
{
    return {bytes.data(), bytes.data() + 20000, bytes.data() + 40000, width + 9, width / 2 + 5, width / 2 + 6, width,
            height};
}

tagBITMAPINFOHEADER Header(int width, int height, int bits)
{
    tagBITMAPINFOHEADER header = {};
    header.biWidth = width;
    header.biHeight = height;
    header.biBitCount = static_cast<uint16_t>(bits);
    return header;
}

struct Case {
    int (*plain)(const encmgr_image*, const encmgr_image*);
    int (*run)(const IMG_PARAM&, IMG_PARAM&);
    int srcBits, dstBits, sampling = 1;
};
constexpr Case s_scalers[] = {
    {encmgr_nearest_32, DIB_ResizeNear, 32, 32},         {encmgr_bilinear_32, DIB_ResizeBiLiner, 32, 32},
    {encmgr_convolution_32, DIB_ResizeConvolve, 32, 32}, {encmgr_overlay_32, DIB_AlphaResizeBiLiner, 32, 32},
    {encmgr_nearest_8, DIB_ResizeNear8, 8, 8},           {encmgr_bilinear_8, DIB_ResizeBiLiner8, 8, 8},
    {encmgr_mask_nearest, StretchMaskResizeNear, 8, 32}, {encmgr_mask_bilinear, StretchMaskResizeBiLiner, 8, 32},
    {encmgr_nearest_y, DIB_ResizeNearY, 8, 8},           {encmgr_nearest_uv, DIB_ResizeNearUV, 8, 8, 2},
    {encmgr_bilinear_y, DIB_ResizeBiLinerY, 8, 8},       {encmgr_bilinear_uv, DIB_ResizeBiLinerUV, 8, 8, 2},
    {encmgr_mean_y, DIB_ResizeBiLinerY_Simulate, 8, 8}};

TEST(ToolboxCTest, ScalersAreTheLibrarys)
{
    for (const Case& c : s_scalers) {
        SCOPED_TRACE(testing::Message() << "scaler " << &c - s_scalers);
        Bytes source = Noise(1), target = Noise(2), expected = target;
        const encmgr_image src = {source.data(), 40, 30, 40 * c.srcBits / 8 / c.sampling + 3, c.srcBits, 4, 2, 33, 27};
        encmgr_image dst = {target.data(), 60, 50, 60 * c.dstBits / 8 / c.sampling + 2, c.dstBits, 6, 4, 50, 45};
        ASSERT_EQ(c.plain(&src, &dst), 1);
        IMG_PARAM param = {expected.data(), 60, 50, dst.pitch, c.dstBits, 6, 4, 50, 45};
        c.run({source.data(), 40, 30, src.pitch, c.srcBits, 4, 2, 33, 27}, param);
        EXPECT_EQ(target, expected);
        EXPECT_NE(target, Noise(2));

        const Bytes before = target;
        const auto refuses = [&](int encmgr_image::*field, int value) {
            for (encmgr_image image : {src, dst}) {
                const bool isSource = image.bits == src.bits;
                image.*field = value;
                EXPECT_EQ(isSource ? c.plain(&image, &dst) : c.plain(&src, &image), 0) << isSource << " " << value;
            }
        };
        for (const auto field : {&encmgr_image::width, &encmgr_image::height, &encmgr_image::cx, &encmgr_image::cy})
            for (const int value : {0, -1, INT_MIN})
                refuses(field, value);
        for (const auto field : {&encmgr_image::x, &encmgr_image::y, &encmgr_image::cx, &encmgr_image::cy})
            for (const int value : {-1, 61, INT_MAX})
                refuses(field, value);
        refuses(&encmgr_image::pitch, 40 / c.sampling - 1);
        refuses(&encmgr_image::bits_per_pixel, 24);
        EXPECT_EQ(c.plain(nullptr, &dst), 0);
        EXPECT_EQ(c.plain(&src, nullptr), 0);
        dst.bits = nullptr;
        EXPECT_EQ(c.plain(&src, &dst), 0);
        EXPECT_EQ(target, before);
    }
}

TEST(ToolboxCTest, BitmapsAndPlanesBecomeEachOther)
{
    constexpr int w = 37, h = 22;
    using To = int (*)(const encmgr_planes*, unsigned char*);
    const std::tuple<To, decltype(Yuv420_2_rgb24)*, int> toBitmaps[] = {
        {encmgr_i420_to_bgr24, Yuv420_2_rgb24, 24},
        {encmgr_i420_to_bgr32, Yuv420_2_rgb32, 32},
        {encmgr_i420_to_bgra, Yuv420_2_Argb, 32},
        {encmgr_i420_to_bgr24_rounded, Yuv420_2_rgb24Simple, 24}};
    for (const auto& [plain, run, bits] : toBitmaps) {
        Bytes source = Noise(1), target = Noise(2), expected = target;
        encmgr_planes p = PlanesIn(source, w, h);
        tagBITMAPINFOHEADER header = Header(w, h, bits);
        EXPECT_EQ(plain(&p, target.data()), 1);
        run(&header, expected.data(), p.y, p.u, p.v, p.pitch_y, p.pitch_u, p.pitch_v);
        EXPECT_EQ(target, expected);
        EXPECT_EQ(plain(&p, nullptr) + plain(nullptr, target.data()), 0);
        p.pitch_u = (w + 1) / 2 - 1;
        EXPECT_EQ(plain(&p, target.data()), 0);
    }
    using From = int (*)(unsigned char*, const encmgr_planes*);
    const std::tuple<From, decltype(Rgb24_2_yuv420)*, int> fromBitmaps[] = {
        {encmgr_bgr24_to_i420, Rgb24_2_yuv420, 24},
        {encmgr_bgr32_to_i420, Rgb32_2_yuv420, 32},
        {encmgr_bgra_to_i420, Argb_2_yuv420, 32},
        {encmgr_bgr24_to_i420_rounded, Rgb24_2_yuv420Simple, 24}};
    for (const auto& [plain, run, bits] : fromBitmaps) {
        Bytes source = Noise(1), target = Noise(2), expected = target;
        encmgr_planes p = PlanesIn(target, w, h), q = PlanesIn(expected, w, h);
        tagBITMAPINFOHEADER header = Header(w, h, bits);
        EXPECT_EQ(plain(source.data(), &p), 1);
        run(q.y, q.u, q.v, q.pitch_y, q.pitch_u, q.pitch_v, &header, source.data());
        EXPECT_EQ(target, expected);
        p.pitch_y = w; // a row has one byte more
        EXPECT_EQ(plain(source.data(), &p), 0);
        EXPECT_EQ(target, expected);
    }
    Bytes source = Noise(1), target = Noise(2), expected = target;
    const encmgr_planes p = PlanesIn(target, w, h), q = PlanesIn(expected, w, h);
    tagBITMAPINFOHEADER header = Header(w, h, 32);
    EXPECT_EQ(encmgr_bgr32_to_i420_alpha(source.data(), &p, target.data() + 60000), 1);
    Rgb32_2_yuv420A(q.y, q.u, q.v, expected.data() + 60000, q.pitch_y, q.pitch_u, q.pitch_v, &header, source.data());
    EXPECT_EQ(target, expected);
    EXPECT_EQ(encmgr_bgr32_to_i420_alpha(source.data(), &p, nullptr), 0);

    int a = -1, b = -1, c = -1;
    EXPECT_EQ(encmgr_rgb_to_yuv(255, 255, 255, &a, &b, &c), 1);
    EXPECT_EQ((std::array{a, b, c}), (std::array{235, 128, 128}));
    EXPECT_EQ(encmgr_yuv_to_rgb(16, 128, 128, &a, &b, &c), 1);
    EXPECT_EQ((std::array{a, b, c}), (std::array{0, 0, 0}));
    EXPECT_EQ(encmgr_rgb_to_yuv(256, 0, 0, &a, &b, &c) + encmgr_yuv_to_rgb(0, -1, 0, &a, &b, &c), 0);
}

TEST(ToolboxCTest, PixelsOfTheOtherOrderAreTheSame)
{
    const std::tuple<int, int, int> sizes[] = {{1, 1, 3}, {3, 2, 4}, {2, 5, 3}, {515, 3, 4}, {1026, 4, 3}};
    for (const auto& [w, h, bytes] : sizes) {
        SCOPED_TRACE(testing::Message() << w << "x" << h);
        // Both as they are and, with a copy of an odd last column and row, as the library takes them.
        const int even[] = {w + w % 2, h + h % 2};
        Bytes pixels = Noise(1), bgra(pixels.size()), expected = Noise(2), target = expected;
        const encmgr_rgb rgb = {pixels.data(), w, h, w * bytes + 1, bytes};
        for (int y = 0; y < even[1]; ++y)
            for (int x = 0; x < even[0]; ++x)
                for (int c = 0; c < 3; ++c)
                    bgra[4U * (y * even[0] + x) + 2 - c] =
                        pixels[1U * std::min(y, h - 1) * rgb.pitch + std::min(x, w - 1) * bytes + c];
        const auto planes = [&](Bytes& bytes_, int width, int height) {
            return encmgr_planes{bytes_.data(), bytes_.data() + 20000, bytes_.data() + 40000, 1031, 517, 518, width,
                                 height};
        };
        const encmgr_planes p = planes(target, w, h), q = planes(expected, even[0], even[1]);
        EXPECT_EQ(encmgr_rgb_to_i420(&rgb, &p), 1);
        EXPECT_EQ(encmgr_bgra_to_i420(bgra.data(), &q), 1);
        for (int y = 0; y < h; ++y)
            EXPECT_TRUE(std::equal(p.y + y * 1031, p.y + y * 1031 + w, q.y + y * 1031));
        EXPECT_TRUE(std::equal(p.u, target.data() + target.size(), q.u));
        EXPECT_EQ(target[w], Noise(2)[w]); // nothing beyond a row

        EXPECT_EQ(encmgr_i420_to_rgb(&p, &rgb), 1);
        EXPECT_EQ(encmgr_i420_to_bgra(&q, bgra.data()), 1);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w * bytes; ++x) {
                const int c = x % bytes;
                ASSERT_EQ(pixels[1U * y * rgb.pitch + x], bgra[4U * (y * even[0] + x / bytes) + (c == 3 ? 3 : 2 - c)]);
            }
        EXPECT_EQ(pixels[1U * w * bytes], Noise(1)[1U * w * bytes]);

        encmgr_rgb bad[] = {rgb, rgb, rgb, rgb};
        bad[0].bits = nullptr;
        bad[1].bytes_per_pixel = 2;
        bad[2].width = w + 1;
        bad[3].height = 0;
        for (const encmgr_rgb& other : bad)
            EXPECT_EQ(encmgr_rgb_to_i420(&other, &p) + encmgr_i420_to_rgb(&p, &other), 0);
    }
}

TEST(ToolboxCTest, RectanglesStayInside)
{
    Bytes source = Noise(1), target = Noise(2), expected = target;
    const encmgr_bitmap bitmap = {source.data(), 41, 20, 130}, bitmapOut = {target.data(), 41, 20, 130};
    const encmgr_packed packed = {source.data(), 42, 20, 90, ENCMGR_YUY2};
    const encmgr_packed packedOut = {target.data(), 42, 20, 90, ENCMGR_UYVY};
    const encmgr_planes planes = PlanesIn(source, 42, 20), out = PlanesIn(target, 42, 20),
                        q = PlanesIn(expected, 42, 20);

    EXPECT_EQ(encmgr_bgr24_to_packed(&bitmap, 3, 1, &packedOut, 5, 2, 33, 17), 1);
    Rgb24_2_YUY2(expected.data(), 90, 5, 2, 33, 17, 0, source.data(), 20, 130, 3, 1);
    EXPECT_EQ(encmgr_packed_to_bgr24(&packed, 3, 1, &bitmapOut, 5, 2, 33, 17), 1);
    YUY2_2_Rgb24(expected.data(), 20, 130, 5, 2, 33, 17, source.data(), 90, 1, 3, 1);
    EXPECT_EQ(target, expected);
    EXPECT_EQ(encmgr_packed_to_i420(&packed, 2, 0, &out, 4, 6, 33, 13), 1); // far below the source's rectangle
    EXPECT_EQ(out.y[6 * out.pitch_y + 4], packed.bits[4]);
    EXPECT_EQ(out.v[3 * out.pitch_v + 2], (packed.bits[7] + packed.bits[90 + 7]) / 2);
    std::copy(target.begin(), target.end(), expected.begin());
    EXPECT_EQ(encmgr_i420_to_packed(&planes, 2, 0, &packedOut, 4, 5, 33, 13), 1);
    Yuv420_2_YUY2(expected.data(), 90, 4, 5, 33, 13, 0, planes.y, planes.u, planes.v, planes.pitch_y, planes.pitch_u,
                  planes.pitch_v, 2, 0);
    EXPECT_EQ(encmgr_copy_packed(&packed, 2, 1, &packedOut, 4, 3, 33, 13), 1);
    YUY2_Blt_fast(expected.data(), 90, 4, 3, 33, 13, 0, source.data(), 90, 1, 2, 1);
    EXPECT_EQ(encmgr_copy_i420(&planes, 2, 0, &out, 4, 2, 33, 13), 1);
    YV12_Blt_fast(q.y, q.u, q.v, q.pitch_y, q.pitch_u, q.pitch_v, 4, 2, 33, 15, planes.y, planes.u, planes.v,
                  planes.pitch_y, planes.pitch_u, planes.pitch_v, 2, 0);
    EXPECT_EQ(encmgr_scale_i420(&planes, nullptr, &out, nullptr, ENCMGR_BILINEAR), 1);
    const IMG_PARAM whole = {nullptr, 42, 20, 0, 8, 0, 0, 42, 20};
    ImageResizeYV12(whole, planes.y, planes.u, planes.v, planes.pitch_y, planes.pitch_u, planes.pitch_v, whole, q.y,
                    q.u, q.v, q.pitch_y, q.pitch_u, q.pitch_v, IMAGE_INTERPOLATION_BILINER);
    EXPECT_EQ(target, expected);

    for (const auto& [x, y, cx, cy] : {encmgr_rect{-2, 0, 8, 8},
                                       {0, -2, 8, 8},
                                       {0, 0, 44, 8},
                                       {36, 0, 8, 8},
                                       {0, 14, 8, 8},
                                       {0, 0, 8, 21},
                                       {0, 0, 0, 8},
                                       {0, 0, 8, INT_MAX},
                                       {0, 0, INT_MAX, 8},
                                       {INT_MAX - 1, 0, 8, 8}}) {
        SCOPED_TRACE(testing::Message() << x << " " << y << " " << cx << " " << cy);
        const encmgr_rect rect = {x, y, cx, cy};
        EXPECT_EQ(encmgr_bgr24_to_packed(&bitmap, 0, 0, &packedOut, x, y, cx, cy), 0);
        EXPECT_EQ(encmgr_packed_to_bgr24(&packed, x, y, &bitmapOut, 0, 0, cx, cy), 0);
        EXPECT_EQ(encmgr_packed_to_i420(&packed, x, y, &out, 0, 0, cx, cy), 0);
        EXPECT_EQ(encmgr_i420_to_packed(&planes, 0, 0, &packedOut, x, y, cx, cy), 0);
        EXPECT_EQ(encmgr_copy_packed(&packed, x, y, &packedOut, 0, 0, cx, cy), 0);
        EXPECT_EQ(encmgr_copy_i420(&planes, 0, 0, &out, x, y, cx, cy), 0);
        EXPECT_EQ(encmgr_scale_i420(&planes, &rect, &out, nullptr, ENCMGR_NEAREST), 0);
        EXPECT_EQ(encmgr_scale_i420(&planes, nullptr, &out, &rect, ENCMGR_NEAREST), 0);
    }
    EXPECT_EQ(encmgr_scale_i420(&planes, nullptr, &out, nullptr, 3), 0);
    EXPECT_EQ(encmgr_packed_to_i420(&packed, 1, 0, &out, 0, 0, 8, 8), 0);
    EXPECT_EQ(encmgr_copy_i420(&planes, 0, 1, &out, 0, 0, 8, 8), 0);
}

TEST(ToolboxCTest, AConverterIsTheLibrarys)
{
    for (const int bad : {0, -1, 3})
        EXPECT_FALSE(encmgr_converter_create(bad, 2, 44100, 48000) || encmgr_converter_create(2, bad, 44100, 48000));
    EXPECT_FALSE(encmgr_converter_create(2, 2, 0, 48000) || encmgr_converter_create(2, 2, 44100, -1));
    const std::vector<short> block = {1000, 2000, 3000, 4000, 5000, 6000};
    encmgr_converter* converter = encmgr_converter_create(2, 1, 44100, 44100);
    ASSERT_TRUE(converter);
    EXPECT_EQ(encmgr_converter_put(converter, block.data(), 5), -1);
    EXPECT_EQ(encmgr_converter_put(converter, nullptr, 6) + encmgr_converter_put(nullptr, block.data(), 6), -2);
    EXPECT_EQ(encmgr_converter_put(converter, block.data(), 6), 3);
    std::vector<short> out(4);
    EXPECT_EQ(encmgr_converter_get(converter, out.data(), 4), 3);
    EXPECT_EQ(out, (std::vector<short>{1500, 3500, 5500, 0}));
    EXPECT_EQ(encmgr_converter_get(converter, out.data(), -1), -1);
    encmgr_converter_destroy(converter);
    encmgr_converter_destroy(nullptr);
}

} // namespace
