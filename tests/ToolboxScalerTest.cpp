// The convolution, the overlay and the masks against their definitions, worked out anew for each pixel, and the entry
// points above them.
#include "Common/Image/ConvolveRows.h"
#include "Common/Image/ImageResize.h"
#include "tests/InstructionSets.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <vector>

namespace
{

enum Kind { convolution, overlay, replacingMask, multiplyingMask };
struct Scaler {
    int (*run)(const IMG_PARAM& src, IMG_PARAM& dst);
    Kind kind;
    int bytes; // per source pixel
};

constexpr Scaler scalers[] = {{DIB_ResizeConvolve, convolution, 4},
                              {DIB_AlphaResizeBiLiner, overlay, 4},
                              {StretchMaskResizeNear, replacingMask, 1},
                              {StretchMaskResizeBiLiner, multiplyingMask, 1}};
constexpr int mostColumns = (1 << 19) - 1;

// All images are bottom-up.
unsigned char* PixelAt(const IMG_PARAM& image, int64_t column, int64_t row, int bytes)
{
    return image.pBits + (image.nHeight - 1 - row) * image.nPitch + column * bytes;
}

// The point between four taps, with weights times 2^36 in whole numbers.
int64_t Filtered(std::array<int64_t, 4> taps, int64_t fraction, int64_t step)
{
    constexpr int64_t one = 4096, cube = one * one * one;
    const int64_t e = taps[3] - taps[0];
    if (step <= 2048 || step >= 8192) {
        taps[1] = (taps[0] + taps[1] + e / 3) / 2;
        taps[2] = (taps[0] + taps[2] + 2 * e / 3) / 2;
    }
    int64_t sum = cube / 2, at = -one;
    for (const int64_t tap : taps) {
        const int64_t d = std::abs(at - fraction);
        at += one;
        sum += tap * (d < one ? d * d * d - 2 * one * d * d + cube
                              : -d * d * d + 5 * one * d * d - 8 * one * one * d + 4 * cube);
    }
    return sum / cube; // toward zero
}

// The definition of target pixel (c, r), counted from the rectangle's corner, put into its place. A weight of 0 reads
// nothing.
void Define(const Scaler& s, const IMG_PARAM& src, const IMG_PARAM& dst, int64_t c, int64_t r)
{
    const auto sample = [&](int64_t column, int64_t row, int k, int64_t weight = 1) -> int64_t {
        return weight ? weight * PixelAt(src, src.x + column, src.y + row, s.bytes)[k] : 0;
    };
    const int64_t stepX = (src.cx * 4096 - 4096) / (dst.cx - 1), stepY = (src.cy * 4096 - 4096) / (dst.cy - 1);
    const int64_t endX = src.cx - 1, endY = src.cy - 1;
    const bool forced = s.kind != convolution, lastColumn = forced && c == dst.cx - 1;
    const bool lastRow = forced && r == dst.cy - 1, plain = lastColumn || lastRow || s.kind == replacingMask;
    const int64_t x = lastColumn ? endX : c * stepX / 4096, y = lastRow ? endY : r * stepY / 4096;
    const int64_t fx = plain ? 0 : c * stepX % 4096, fy = plain ? 0 : r * stepY % 4096;
    const auto mixed = [&](int k) {
        const auto across = [&](int64_t at) { return (sample(x, at, k, 4096 - fx) + sample(x + 1, at, k, fx)) / 4096; };
        return (across(y) * (4096 - fy) + (fy ? across(y + 1) * fy : 0)) / 4096;
    };
    const auto convolved = [&](int k) {
        const auto across = [&](int64_t at) {
            return Filtered({sample(std::max<int64_t>(x - 1, 0), at, k), sample(x, at, k),
                             sample(std::min(x + 1, endX), at, k), sample(std::min(x + 2, endX), at, k)},
                            fx, stepX);
        };
        const std::array taps = {across(y > 0 ? y - 1 : y), across(y), across(y < endY ? y + 1 : y),
                                 across(y + 2 <= endY ? y + 2 : y)};
        return std::clamp<int64_t>(Filtered(taps, fy, stepY), 0, 255);
    };
    unsigned char* const p = PixelAt(dst, dst.x + c, dst.y + r, 4);
    const int64_t a = sample(x, y, s.bytes - 1), m = forced ? mixed(0) : 0;
    for (int k = 0; k < 3; ++k)
        p[k] = static_cast<unsigned char>(s.kind == convolution ? convolved(k)
                                          : s.kind == overlay   ? (a * mixed(k) + (255 - a) * p[k]) / 255
                                                                : (m ? p[k] : 0));
    const int64_t fourth[] = {a, plain ? p[3] : a + p[3] * (255 - a) / 255, m, m * p[3] / 255};
    p[3] = static_cast<unsigned char>(fourth[s.kind]);
}

// An image with a rectangle. A source's buffer begins with the rectangle's lowest row and ends with its last byte; a
// target's has guards around. Fields that no scaler may read hold nonsense.
struct Image {
    Image(size_t guard, int bytes, int x, int y, int cx, int cy, int extraPitch = 0, bool upward = false)
    {
        const int right = (x + cx) * bytes, pitch = right + extraPitch, rows = (cy - 1) * pitch;
        bits.resize(guard + static_cast<size_t>(rows + right) + guard);
        unsigned char* const first = bits.data() + guard + (upward ? rows : 0);
        record = {first, -7, y + cy, upward ? -pitch : pitch, -7, x, y, cx, cy};
    }
    Bytes bits;
    IMG_PARAM record;
};
constexpr size_t guards = 61;

// The parameter names the form of the row functions that the suite runs with.
class ToolboxScalerTest : public AtEachSet
{
protected:
    void Check(const Scaler& s, Image& src, Image& dst)
    {
        Fill(src.bits);
        Fill(dst.bits);
        src.record.nBitCount = s.kind == multiplyingMask ? 8 : -7;
        const Bytes before = dst.bits;
        const IMG_PARAM given = dst.record, &to = dst.record;
        ASSERT_EQ(s.run(src.record, dst.record), 1);
        ASSERT_EQ(std::memcmp(&given, &to, sizeof(to)), 0);
        const Bytes result = dst.bits;
        dst.bits = before;
        for (int r = 0; r < to.cy; ++r)
            for (int c = 0; c < to.cx; ++c)
                Define(s, src.record, to, c, r);
        ASSERT_EQ(result, dst.bits) << "scaler " << s.kind << ": " << src.record.cx << 'x' << src.record.cy << " to "
                                    << to.cx << 'x' << to.cy;
    }
};

TEST_P(ToolboxScalerTest, EqualsTheDefinitionAtEverySize)
{
    for (const Scaler& s : scalers)
        for (int i = 0; i < 24 * 68 + 40 && !HasFatalFailure(); ++i) {
            const int cx = i < 24 * 68 ? 2 + i / 24 : Random(70, 5200);
            const int widths[] = {1, 2, cx, cx * 2 - 1, (cx + 1) / 2, Random(1, 90), 1 + cx * Random(1, 99) / 20};
            Image src(0, s.bytes, Random(0, 5), Random(0, 5), widths[i % 7], Random(1, 9), Random(0, 5), Random(0, 1));
            Image dst(guards, 4, Random(0, 5), Random(0, 5), cx, Random(2, 9), Random(0, 5), Random(0, 1));
            Check(s, src, dst);
        }
}

// Steps of 2049 and 8191, just without smoothing (2048 and 8192 are among the sizes above), and the longest sides.
TEST_P(ToolboxScalerTest, HoldsAtTheBordersOfStepsAndSizes)
{
    constexpr int n = mostColumns, lengths[][2] = {{514, 1026}, {8192, 4097}, {n, 3}, {2, n}};
    for (const Scaler& s : scalers)
        for (const auto& [from, to] : lengths)
            for (const bool across : {true, false}) {
                Image src(0, s.bytes, 1, 1, across ? from : 2, across ? 2 : from);
                Image dst(guards, 4, 0, 1, across ? to : 2, across ? 2 : to, 1);
                Check(s, src, dst);
                ASSERT_FALSE(HasFatalFailure());
            }
}

// Worked out by hand: a hard edge, in rows that are alike.
TEST_P(ToolboxScalerTest, ConvolvesTheKnownRows)
{
    const Bytes edge = {0, 0, 255, 255}, overshot = {0, 0, 128, 255, 255}; // -34 and 291 before they are clamped
    for (const Bytes& expected : {edge, overshot, {42, 48, 42, 127, 170, 207, 255}}) {
        Image src(0, 4, 0, 0, 4, 3), dst(guards, 4, 0, 0, static_cast<int>(expected.size()), 3);
        for (size_t i = 0; i < src.bits.size(); ++i)
            src.bits[i] = edge[i / 4 % 4];
        ASSERT_EQ(DIB_ResizeConvolve(src.record, dst.record), 1);
        for (size_t c = 0; c < expected.size(); ++c)
            EXPECT_EQ(dst.record.pBits[4 * c], expected[c]) << expected.size() << ": " << c;
    }
}

// Sums so close above a whole number that nothing but the weights' last bits lifts them there, and whole sums below
// zero: without those bits results would be off by one.
TEST_P(ToolboxScalerTest, ConvolvesSumsNextToWholeNumbers)
{
    uint64_t random = m_random();
    const auto takeTaps = [&random](uint32_t fraction, int low, int span, int bits, bool dark) {
        int64_t weights[4], exact = 0, cut = 0;
        CubicWeightsInSteps(fraction, weights);
        std::array<int, 4> taps = {};
        while (exact >> 36 == cut >> 36 && (exact >= 0 || exact % (int64_t{1} << 36) != 0)) {
            random = random * 6364136223846793005U + 1442695040888963407U;
            exact = cut = int64_t{1} << 35;
            for (size_t i = 0; i < 4; ++i) {
                const bool darker = dark && i % 3 != 0; // inner ones, for sums below zero
                taps[i] = low + static_cast<int>(random >> (16 + 12 * i) & 0xFFF) % (darker ? span / 16 : span);
                exact += taps[i] * weights[i];
                cut += taps[i] * ((weights[i] >> bits) * (int64_t{1} << bits));
            }
        }
        return taps;
    };
    constexpr int columns = 9; // more than are filtered together
    const ConvolveTable& table = ConvolveRows();
    for (uint32_t i = 0; i < 64; ++i) {
        const uint32_t fraction = i % 4 ? 64 * i + 30 : 2048; // at a half no sum is cut short
        Bytes row(16);
        for (size_t k = 0; k < 3; ++k) {
            std::array taps = takeTaps(fraction, 0, 256, i < 16 && k == 0 ? 6 : 12, k > 0);
            if (fraction == 2048 && k == 2)
                taps = {8 * Random(1, 31), 0, 0, 0}; // beside them, a negative one that ends with a half
            for (size_t t = 0; t < 4; ++t)
                row[4 * t + k] = static_cast<unsigned char>(taps[t]);
        }
        std::vector<int16_t> made(4 * kStripColumns), expected(made), words[4];
        alignas(kLongestVector) unsigned char memory[kPreparedStripBytes];
        ColumnStrip strip(4096 + fraction, 0, columns, 3, false, memory);
        table.prepare(strip);
        table.filterColumns(strip, row.data(), made.data());
        FilterColumns(strip, row.data(), expected.data());
        const size_t count = 4 * columns;
        made.resize(count);
        expected.resize(count);
        EXPECT_EQ(made, expected) << fraction;

        FilteredRows rows = {{}, 64 * i + 29, false};
        for (size_t t = 0; t < 4; ++t) {
            words[t].resize(count);
            std::generate(words[t].begin(), words[t].end(), [&] { return static_cast<int16_t>(Random(64, 447)); });
            rows.taps[t] = words[t].data();
        }
        for (size_t k = 0; k < 3; ++k) {
            const std::array taps = takeTaps(rows.fraction, kFilteredBias - 64, 384, 12, false);
            for (size_t t = 0; t < 4; ++t)
                words[t][4 * (i % columns) + k] = static_cast<int16_t>(taps[t]);
        }
        Bytes pixels(count), expectedPixels(count);
        table.filterRows(rows, pixels.data(), columns);
        FilterRows(rows, expectedPixels.data(), columns);
        for (size_t k = 3; k < count; k += 4) // a filtered byte 3 is a byte
            pixels[k] = expectedPixels[k];
        EXPECT_EQ(pixels, expectedPixels) << fraction;
    }
}

TEST(ConvolveRowsTest, EachSetHasFormsOfItsOwn)
{
    ExpectFormsOfTheirOwn(ConvolveRows);
}

TEST_P(ToolboxScalerTest, RefusesBadRecordsAndTouchesNothing)
{
    for (const Scaler& s : scalers) {
        Image src(0, s.bytes, 0, 0, 8, 8), dst(guards, 4, 0, 0, 8, 8);
        src.record.nBitCount = 8;
        Fill(dst.bits);
        const Bytes before = dst.bits;
        const auto run = [&](auto IMG_PARAM::*field, bool ofSource, auto value) {
            IMG_PARAM records[] = {dst.record, src.record};
            records[ofSource].*field = value;
            return s.run(records[1], records[0]);
        };
        for (const bool ofSource : {false, true}) {
            for (const int bad : {0, -1, INT_MIN, mostColumns + 1, INT_MAX, 1})
                for (int IMG_PARAM::*side : {&IMG_PARAM::cx, &IMG_PARAM::cy})
                    EXPECT_EQ(ofSource && bad == 1 ? 0 : run(side, ofSource, bad), 0) << s.kind << ofSource << bad;
            EXPECT_EQ(run(&IMG_PARAM::pBits, ofSource, nullptr), 0) << s.kind;
        }
        for (const int bits : {0, 7, 9, 16, 32, -8})
            EXPECT_EQ(s.kind == multiplyingMask ? run(&IMG_PARAM::nBitCount, true, bits) : 0, 0) << bits;
        EXPECT_EQ(dst.bits, before) << s.kind;
    }
}

TEST_P(ToolboxScalerTest, EntryPointsChooseByMethod)
{
    using Run = std::function<int(const IMG_PARAM&, IMG_PARAM&)>;
    const Run none = [](auto&, auto&) { return 0; };
    const Run byMethod[] = {none, DIB_ResizeBiLiner, DIB_ResizeNear, DIB_ResizeBiLiner, DIB_ResizeConvolve, none};
    for (int i = 0; i < 18; ++i) {
        const auto method = static_cast<IMAGE_INTERPOLATION>(i / 3 - 1);
        Image src(0, i % 3 < 2 ? 4 : 1, 2, 2, 20, 12), dst(guards, 4, 2, 2, 9, 7, 3);
        Fill(src.bits);
        src.record.nBitCount = 8;
        const Bytes before = dst.bits;
        const int done = i % 3 == 0   ? ImageResize(src.record, dst.record, method)
                         : i % 3 == 1 ? ImageAlphaResize(src.record, dst.record, method)
                                      : ImageStretchMask(src.record, dst.record);
        const Bytes made = dst.bits;
        dst.bits = before;
        const Run chosen[] = {byMethod[i / 3], DIB_AlphaResizeBiLiner, StretchMaskResizeBiLiner};
        EXPECT_EQ(done, chosen[i % 3](src.record, dst.record)) << i;
        EXPECT_EQ(made, dst.bits) << i;
    }
}

AT_EACH_SET(ToolboxScalerTest);

} // namespace
