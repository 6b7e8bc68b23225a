// Every scaler against its definition, worked out anew for each byte, and the entry points above them.
#include "Common/Image/ScaleRows.h"
#include "tests/ScalerSuite.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <numeric>
#include <vector>

namespace
{

constexpr auto& scalers = pictureScalers;

#ifdef __SANITIZE_ADDRESS__
constexpr uint32_t weightStep = 89; // divides 4094, so that both ends are among the weights
#else
constexpr uint32_t weightStep = 1;
#endif

// The parameter names the form of the row functions that the suite runs with.
using ScalerTest = ScalerSuite;

TEST_P(ScalerTest, EqualsTheDefinitionAtEverySize)
{
    CheckEverySize(scalers);
}

TEST_P(ScalerTest, RefusesBadRecordsAndTouchesNothing)
{
    ExpectRefusals(scalers);
}

TEST_P(ScalerTest, HoldsAtTheLargestSizes)
{
    constexpr int n = mostColumns;
    struct Sizes {
        int srcWidth, srcHeight, dstWidth, dstHeight;
    };
    constexpr Sizes sizes[] = {{n, 1, n, 2}, {n, 2, 2, 2}, {n, 2, 3, 2},       {2, 2, n, 2},       {1, n, 2, n},
                               {2, n, 2, 3}, {2, 2, 2, n}, {4101, 9, 2049, 4}, {1400, 2, 4100, 3}, {6200, 4, 2050, 3}};
    for (const Scaler& s : scalers)
        for (const Sizes& z : sizes) {
            Image src(s, source, {.x = 1, .y = 1, .cx = z.srcWidth, .cy = z.srcHeight});
            Image dst(s, target, {.y = 1, .cx = z.dstWidth, .cy = z.dstHeight, .extraPitch = 1});
            Check(s, src, dst);
            ASSERT_FALSE(HasFatalFailure());
        }
}

// Worked out by hand, from a source of two rows that are alike.
TEST_P(ScalerTest, GivesTheKnownRows)
{
    struct Known {
        size_t scaler;
        int srcWidth, dstWidth; // luma pixels
        Bytes samples, expected;
    };
    const Known rows[] = {
        {0, 5, 4, {0, 1, 2, 3, 4}, {0, 1, 2, 4}},
        {2, 5, 4, {0, 1, 2, 3, 4}, {0, 1, 2, 3}},
        {2, 1, 3, {9}, {9, 9, 9}},
        {1, 10, 4, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, {0, 3, 5, 9}},
        {1, 2, 8, {0, 1}, {0, 0, 1, 1, 1, 1, 1, 1}}, // entry 6 is clamped to the source
        {1, 3, 1, {0, 1, 2}, {2}},
        {3, 8, 8, {1, 2, 3, 4}, {1, 2, 3, 4}},
        {4, 2, 5, {0, 255}, {0, 63, 127, 191, 255}},
        {5, 5, 4, {0, 0, 0, 0, 255}, {0, 0, 0, 255}},
        {6, 5, 4, {0, 0, 0, 0, 255}, {0, 0, 0, 254}},
        {7, 4, 8, {0, 255}, {0, 0, 182, 255}}, // a copy on even luma columns, a mix on odd ones
        {8, 3, 3, {10, 20, 40}, {15, 30, 40}},
    };
    for (const Known& row : rows) {
        const Scaler& s = scalers[row.scaler];
        Image src(s, source, {.cx = row.srcWidth, .cy = 2}), dst(s, target, {.cx = row.dstWidth, .cy = 4});
        for (size_t i = 0; i < src.bits.size(); ++i)
            src.bits[i] = row.samples[i / static_cast<size_t>(s.bytes) % row.samples.size()];
        ASSERT_EQ(s.run(src.record, dst.record), 1) << s.name;
        for (size_t c = 0; c < row.expected.size(); ++c)
            EXPECT_EQ(ByteAt(s, dst.record, static_cast<int>(s.Is(chroma) ? 2 * c : c), 0, s.bytes), row.expected[c])
                << s.name << c;
    }
}

TEST_P(ScalerTest, EntryPointsChooseByMethod)
{
    constexpr decltype(&ImageResize8) entries[] = {ImageResize8, ImageResizeY, ImageResizeUV};
    for (int i = 0; i < 3; ++i)
        for (const int method : {-1, 0, 1, 2, 3, 4}) {
            const Scaler& s = scalers[method == 1 ? 1 + i : 5 + i];
            const Shape shape = {.x = 2, .y = 2, .cx = 9, .cy = 7, .extraPitch = 3};
            Image src(s, source, {.x = 2, .y = 2, .cx = 20, .cy = 12}), dst(s, target, shape),
                expected(s, target, shape);
            Fill(src.bits);
            const int known = method >= 0 && method <= 2 ? s.run(src.record, expected.record) : 0;
            EXPECT_EQ(entries[i](src.record, dst.record, static_cast<IMAGE_INTERPOLATION>(method)), known);
            EXPECT_EQ(dst.bits, expected.bits) << s.name << " by method " << method;
        }
}

// Two planes go to one target, which tells the order of the calls. The first plane is missing at times.
TEST_P(ScalerTest, PicturesAreScaledPlaneByPlane)
{
    constexpr size_t size = 1000;
    constexpr int sp[] = {31, 32, 33, 34}, dp[] = {35, 36, 37, 38}, sides[] = {1, 2, 21};
    Bytes sources(4 * size);
    std::iota(sources.begin(), sources.end(), static_cast<unsigned char>(Random(0, 255)));
    unsigned char* const p[] = {&sources[0], &sources[size], &sources[2 * size], &sources[3 * size]};
    for (int i = 0; i < 54; ++i) {
        const auto method = static_cast<IMAGE_INTERPOLATION>(1 + i % 3);
        const bool four = i % 2;
        const IMG_PARAM src = {nullptr, 0, 0, 0, 8, 2, 2, 20, 12};
        const IMG_PARAM dst = {nullptr, 0, 0, 0, 8, 2, 2, sides[i / 6 % 3], sides[i / 18]};
        unsigned char* const p0 = i % 3 ? p[0] : nullptr;
        Bytes made(4 * size), expected(4 * size);
        unsigned char* const q[] = {&made[0], &made[four ? size : 2 * size], &made[2 * size], &made[2 * size]};
        const int result = four ? ImageResizeYV444(src, p0, p[1], p[2], p[3], sp[0], sp[1], sp[2], sp[3], dst, q[0],
                                                   q[1], q[2], q[3], dp[0], dp[1], dp[2], dp[3], method)
                                : ImageResizeYV12(src, p0, p[1], p[2], sp[0], sp[1], sp[2], dst, q[0], q[1], q[2],
                                                  dp[0], dp[1], dp[2], method);
        for (const size_t plane : four ? std::vector<size_t>{0, 1, 3, 2} : std::vector<size_t>{0, 2, 1}) {
            IMG_PARAM from = src, to = dst;
            from.pBits = plane ? p[plane] : p0, from.nPitch = sp[plane];
            to.pBits = &expected[0] + (q[plane] - &made[0]), to.nPitch = dp[plane];
            (four || plane == 0 ? ImageResizeY : ImageResizeUV)(from, to, method);
        }
        EXPECT_EQ(result, dst.cx > 1 && dst.cy > 1);
        EXPECT_EQ(made, expected) << "case " << i;
    }
}

// All pairs of bytes with all weights, which are too many for the compiler to prove: rows as they are, and through
// columns.
TEST_P(ScalerTest, EveryMixOfTwoRowsEqualsTheDefinition)
{
    alignas(kLongestVector) unsigned char upper[kStripBytes], lower[kStripBytes], made[2][kStripBytes];
    alignas(kLongestVector) static unsigned char prepared[kPreparedColumnBytes];
    static Columns columns = {kStripBytes, 1, kStripBytes, 0, {}, {}, prepared};
    std::iota(columns.index, columns.index + kStripBytes, 0);
    const ScaleRowTable& rows = ScaleRows();
    rows.prepare(columns, false);
    for (int first = 0; first < 65536; first += kStripBytes) {
        for (int i = 0; i < kStripBytes; ++i) {
            upper[i] = static_cast<unsigned char>((first + i) / 256);
            lower[i] = static_cast<unsigned char>((first + i) % 256);
        }
        for (uint32_t fraction = 1; fraction < kOne; fraction += weightStep) {
            rows.mixRows({upper, lower, fraction}, made[0], kStripBytes, 0);
            rows.mixQuads(columns, {upper, lower, fraction}, made[1]);
            uint32_t wrong = 0;
            for (int i = 0; i < kStripBytes; ++i) {
                const uint32_t mix = (upper[i] * (kOne - fraction) + lower[i] * fraction) / kOne;
                wrong |= (made[0][i] ^ mix) | (made[1][i] ^ mix);
            }
            ASSERT_EQ(wrong, 0U) << "weight " << fraction << ", pairs from " << first;
        }
    }
}

TEST(ScaleRowsTest, EachSetHasFormsOfItsOwn)
{
    ExpectFormsOfTheirOwn(ScaleRows);
}

AT_EACH_SET(ScalerTest);

} // namespace
