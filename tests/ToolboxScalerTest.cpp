// The convolution, the overlay and the masks against their definitions, worked out anew for each pixel, and the entry
// points above them.
#include "Common/Image/ConvolveRows.h"
#include "tests/ScalerSuite.h"

#include <algorithm>
#include <array>
#include <functional>
#include <gtest/gtest.h>
#include <vector>

namespace
{

constexpr auto& scalers = toolboxScalers;

// The parameter names the form of the row functions that the suite runs with.
using ToolboxScalerTest = ScalerSuite;

TEST_P(ToolboxScalerTest, EqualsTheDefinitionAtEverySize)
{
    CheckEverySize(scalers);
}

TEST_P(ToolboxScalerTest, RefusesBadRecordsAndTouchesNothing)
{
    ExpectRefusals(scalers);
}

// Steps of 2049 and 8191, just without smoothing (2048 and 8192 are among the sizes above), and the longest sides.
TEST_P(ToolboxScalerTest, HoldsAtTheBordersOfStepsAndSizes)
{
    constexpr int n = mostColumns, lengths[][2] = {{514, 1026}, {8192, 4097}, {n, 3}, {2, n}};
    for (const Scaler& s : scalers)
        for (const auto& [from, to] : lengths)
            for (const bool across : {true, false}) {
                Image src(s, source, {1, 1, across ? from : 2, across ? 2 : from});
                Image dst(s, target, {0, 1, across ? to : 2, across ? 2 : to, 1});
                Check(s, src, dst);
                ASSERT_FALSE(HasFatalFailure());
            }
}

// Worked out by hand: a hard edge, in rows that are alike.
TEST_P(ToolboxScalerTest, ConvolvesTheKnownRows)
{
    const Bytes edge = {0, 0, 255, 255}, overshot = {0, 0, 128, 255, 255}; // -34 and 291 before they are clamped
    for (const Bytes& expected : {edge, overshot, {42, 48, 42, 127, 170, 207, 255}}) {
        Image src(scalers[0], source, {0, 0, 4, 3});
        Image dst(scalers[0], target, {0, 0, static_cast<int>(expected.size()), 3});
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

TEST_P(ToolboxScalerTest, EntryPointsChooseByMethod)
{
    using Run = std::function<int(const IMG_PARAM&, IMG_PARAM&)>;
    const Run none = [](auto&, auto&) { return 0; };
    const Run byMethod[] = {none, DIB_ResizeBiLiner, DIB_ResizeNear, DIB_ResizeBiLiner, DIB_ResizeConvolve, none};
    for (int i = 0; i < 18; ++i) {
        const auto method = static_cast<IMAGE_INTERPOLATION>(i / 3 - 1);
        const Scaler& s = scalers[i % 3 < 2 ? 0 : 3];
        Image src(s, source, {2, 2, 20, 12}), dst(s, target, {2, 2, 9, 7, 3});
        Fill(src.bits);
        const Bytes before = dst.bits;
        const int done = i % 3 == 0   ? ImageResize(src.record, dst.record, method)
                         : i % 3 == 1 ? ImageAlphaResize(src.record, dst.record, method)
                                      : ImageStretchMask(src.record, dst.record);
        const Bytes made = dst.bits;
        std::copy(before.begin(), before.end(), dst.bits.begin());
        const Run chosen[] = {byMethod[i / 3], DIB_AlphaResizeBiLiner, StretchMaskResizeBiLiner};
        EXPECT_EQ(done, chosen[i % 3](src.record, dst.record)) << i;
        EXPECT_EQ(made, dst.bits) << i;
    }
}

AT_EACH_SET(ToolboxScalerTest);

} // namespace
