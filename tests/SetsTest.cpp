// Pictures of many strips and blocks: every instruction set gives the bytes of the plain functions. That those are
// right is shown elsewhere, on smaller ones.
#include "Common/Image/ImageConvert.h"
#include "Common/Image/ImageResize.h"
#include "tests/InstructionSets.h"

#include <functional>
#include <memory>

namespace
{

using Bytes = std::vector<unsigned char>;

class SetsTest : public AtEachSet
{
protected:
    // A block of its own, so that no byte after it can be touched unseen.
    std::unique_ptr<unsigned char[]> Block(size_t size)
    {
        std::unique_ptr<unsigned char[]> block(new unsigned char[size]);
        const bool few = Random(0, 3) == 0;
        for (size_t i = 0; i < size; ++i) {
            const auto any = static_cast<unsigned char>(m_random() >> 12);
            block[i] = few ? static_cast<unsigned char>(any % 2 * 255) : any;
        }
        return block;
    }

    // Runs on a copy of the target by the plain functions and by those of the set.
    void Compare(const std::string& what, unsigned char* target, size_t size, const std::function<void()>& run)
    {
        const Bytes before(target, target + size);
        UseInstructionSet(InstructionSet::Plain);
        run();
        const Bytes expected(target, target + size);
        std::copy(before.begin(), before.end(), target);
        UseInstructionSet(GetParam());
        run();
        const auto differs = std::mismatch(expected.begin(), expected.end(), target);
        EXPECT_EQ(differs.first, expected.end()) << what << ": byte " << differs.first - expected.begin();
    }
};

TEST_P(SetsTest, ScaleLargePicturesAlike)
{
    struct Scaler {
        int (*run)(const IMG_PARAM& src, IMG_PARAM& dst);
        int srcBytes, dstBytes;
    };
    constexpr Scaler scalers[] = {
        {DIB_ResizeNear, 4, 4},          {DIB_ResizeNear8, 1, 1},        {DIB_ResizeNearY, 1, 1},
        {DIB_ResizeNearUV, 1, 1},        {DIB_ResizeBiLiner, 4, 4},      {DIB_ResizeBiLiner8, 1, 1},
        {DIB_ResizeBiLinerY, 1, 1},      {DIB_ResizeBiLinerUV, 1, 1},    {DIB_ResizeBiLinerY_Simulate, 1, 1},
        {DIB_ResizeConvolve, 4, 4},      {DIB_AlphaResizeBiLiner, 4, 4}, {StretchMaskResizeNear, 1, 4},
        {StretchMaskResizeBiLiner, 1, 4}};
    // In hundredths, and about how large the larger side is. Chroma planes are given luma's size: that is more than
    // room.
    constexpr int ratios[] = {20, 33, 50, 67, 75, 99, 100, 101, 133, 150, 199, 200, 201, 210, 300, 450, 600, 1000};
    for (const int ratio : ratios) {
        const int srcWidth = Random(16, 5200), srcHeight = Random(1, 24);
        const int dstWidth = std::max(2, srcWidth * 100 / ratio + Random(-1, 1)) % 5200 + 2;
        const int dstHeight = std::max(2, srcHeight * 100 / ratio + Random(-1, 1));
        for (size_t i = 0; i < std::size(scalers); ++i) {
            const Scaler& s = scalers[i];
            const auto srcSize = static_cast<size_t>(srcWidth * srcHeight * s.srcBytes);
            const auto dstSize = static_cast<size_t>(dstWidth * dstHeight * s.dstBytes);
            const auto src = Block(srcSize), dst = Block(dstSize);
            const IMG_PARAM from = {src.get(), 0, srcHeight, srcWidth * s.srcBytes, 8, 0, 0, srcWidth, srcHeight};
            IMG_PARAM to = {dst.get(), 0, dstHeight, dstWidth * s.dstBytes, 8, 0, 0, dstWidth, dstHeight};
            Compare("scaler " + std::to_string(i) + ", " + std::to_string(srcWidth) + "x" + std::to_string(srcHeight) +
                        " to " + std::to_string(dstWidth) + "x" + std::to_string(dstHeight),
                    dst.get(), dstSize, [&] { s.run(from, to); });
        }
    }
}

TEST_P(SetsTest, ConvertLargePicturesAlike)
{
    for (int i = 0; i < 40; ++i) {
        const int w = Random(1, 4500), h = Random(1, 7), cw = (w + 1) / 2, ch = (h + 1) / 2, even = 2 * cw;
        const size_t luma = static_cast<size_t>(even) * static_cast<size_t>(2 * ch);
        const size_t chroma = static_cast<size_t>(cw) * static_cast<size_t>(ch),
                     stride = (static_cast<size_t>(w) * 3 + 3) / 4 * 4;
        const auto planes = Block(luma + 2 * chroma), alpha = Block(luma);
        unsigned char *y = planes.get(), *u = y + luma, *v = u + chroma;
        const auto rgb24 = Block(stride * static_cast<size_t>(h)), rgb32 = Block(static_cast<size_t>(4 * w * h));
        const auto packed = Block(2 * luma), other = Block(2 * luma);
        const size_t sizes[] = {stride * static_cast<size_t>(h), static_cast<size_t>(4 * w * h), luma + 2 * chroma};
        tagBITMAPINFOHEADER header24 = {}, header32 = {};
        header24.biWidth = header32.biWidth = w;
        header24.biHeight = header32.biHeight = h;
        header24.biBitCount = 24;
        header32.biBitCount = 32;
        const auto swap = static_cast<unsigned>(i % 2);
        const std::string size = ", " + std::to_string(w) + "x" + std::to_string(h);
        const auto toBitmap = [&](auto convert, tagBITMAPINFOHEADER& header, unsigned char* bits, size_t bytes) {
            Compare("to bitmap" + size, bits, bytes, [&, bits] { convert(&header, bits, y, u, v, even, cw, cw); });
        };
        toBitmap(Yuv420_2_rgb24, header24, rgb24.get(), sizes[0]);
        toBitmap(Yuv420_2_rgb24Simple, header24, rgb24.get(), sizes[0]);
        toBitmap(Yuv420_2_rgb32, header32, rgb32.get(), sizes[1]);
        toBitmap(Yuv420_2_Argb, header32, rgb32.get(), sizes[1]);
        const auto toPlanes = [&](auto convert, tagBITMAPINFOHEADER& header, unsigned char* bits) {
            Compare("to planes" + size, y, sizes[2], [&, bits] { convert(y, u, v, even, cw, cw, &header, bits); });
        };
        toPlanes(Rgb24_2_yuv420, header24, rgb24.get());
        toPlanes(Rgb24_2_yuv420Simple, header24, rgb24.get());
        toPlanes(Rgb32_2_yuv420, header32, rgb32.get());
        toPlanes(Argb_2_yuv420, header32, rgb32.get());
        Compare("alpha" + size, alpha.get(), luma,
                [&] { Rgb32_2_yuv420A(y, u, v, alpha.get(), even, cw, cw, &header32, rgb32.get()); });
        const int pitch = static_cast<int>(stride);
        Compare("RGB24 to packed" + size, packed.get(), 2 * luma,
                [&] { Rgb24_2_YUY2(packed.get(), 2 * even, 0, 0, w, h, swap, rgb24.get(), h, pitch, 0, 0); });
        Compare("packed to RGB24" + size, rgb24.get(), sizes[0],
                [&] { YUY2_2_Rgb24(rgb24.get(), h, pitch, 0, 0, w, h, packed.get(), 2 * even, swap, 0, 0); });
        Compare("packed to planes" + size, y, sizes[2],
                [&] { YUY2_2_Yuv420(y, u, v, even, cw, cw, 0, 0, w, h, packed.get(), 2 * even, swap, 0, 0); });
        Compare("planes to packed" + size, packed.get(), 2 * luma,
                [&] { Yuv420_2_YUY2(packed.get(), 2 * even, 0, 0, w, h, swap, y, u, v, even, cw, cw, 0, 0); });
        Compare("exchange" + size, other.get(), 2 * luma,
                [&] { YUY2_Blt_fast(other.get(), 2 * even, 0, 0, w, h, 1, packed.get(), 2 * even, 0, 0, 0); });
    }
}

AT_EACH_SET(SetsTest);

} // namespace
