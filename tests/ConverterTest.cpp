// The audio converter against a model that holds no more than the formulas, block by block.
#include "Common/Audio/AudioConverter.h"
#include "Common/Audio/ResampleRows.h"
#include "tests/ConverterModel.h"
#include "tests/InstructionSets.h"

#include <algorithm>
#include <climits>
#include <gtest/gtest.h>
#include <vector>

namespace
{

class ConverterTest : public AtEachSet
{
protected:
    ConverterTest() { CAudioConverter::Spare() = 0; }

    static Samples Take(CAudioConverter& converter, int most)
    {
        Samples out(static_cast<size_t>(most));
        out.resize(static_cast<size_t>(converter.Get(out.data(), most)));
        return out;
    }

    static Samples Convert(CAudioConverter& converter, const Samples& block)
    {
        return Take(converter, converter.Put(block.data(), static_cast<int>(block.size())));
    }

    void FillSamples(Samples& samples, bool anything) // or the two ends alone
    {
        for (short& sample : samples)
            sample = static_cast<short>(anything ? m_random() >> 8 : SHRT_MIN + m_random() % 2 * 65535);
    }
};

// From any balance that another job left, and from buffers too small for anything.
TEST_P(ConverterTest, EqualsTheModelAtEveryBlockSize)
{
    const int rates[] = {8000, 11025, 22050, 44100, 48000, 96000, 384000};
    const int channels[][2] = {{1, 1}, {1, 2}, {2, 1}, {2, 2}, {6, 2}, {6, 1}, {2, 6}, {6, 6}};
    for (size_t i = 0; i < std::size(channels) * 49; ++i) {
        const Format f = {channels[i / 49][0], channels[i / 49][1], rates[i / 7 % 7], rates[i % 7]};
        const bool copied = f.in == f.out && f.rateIn == f.rateOut;
        Model model = {f, static_cast<int>(m_random() % 101) / 10.0 - 5};
        CAudioConverter::Spare() = model.spare;
        CAudioConverter converter(f.in, f.out, f.rateIn, f.rateOut, 1 + static_cast<int>(m_random() % 50));
        for (const int size : {1, 64, 2, 3, 7, 500, 1, 1, 129, static_cast<int>(m_random() % 700) + 1}) {
            const bool torn = m_random() % 8 == 0; // not whole sample blocks
            Samples block(static_cast<size_t>(size * f.in + torn));
            FillSamples(block, m_random() % 4);
            ASSERT_EQ(Convert(converter, block), copied ? block : model.Convert(block))
                << f.in << " to " << f.out << ", " << f.rateIn << " to " << f.rateOut << ", block of " << size;
            ASSERT_EQ(CAudioConverter::Spare(), model.spare);
        }
    }
}

TEST_P(ConverterTest, GivesTheKnownSamples)
{
    const struct {
        Format f;
        double spare;
        Samples block, expected;
        double left; // of the balance
    } rows[] = {
        {{1, 1, 8000, 16000}, 0, {0, 1000, 2000, 3000}, {0, 0, 500, 1000, 1500, 2000, 2500, 3000}, 0},
        {{1, 1, 16000, 8000}, 0, {-32768, -32768}, {-32767}, 0},
        {{2, 1, 8000, 8000}, 0, {3, 4, -3, -4, -1, -1, -32768, -32768}, {3, -3, 0, -32768}, 0},
        // At equal rates a balance repeats or cuts the last sample block, but a copy leaves it alone.
        {{1, 2, 8000, 8000}, 2.5, {1, 2}, {1, 1, 2, 2, 2, 2, 2}, -0.5},
        {{1, 2, 8000, 8000}, -1.25, {1, 2}, {1, 1, 2}, -0.25},
        {{2, 1, 8000, 8000}, 2, {8, 8, 4, 4}, {8, 4, 4, 4}, 0},
        {{2, 1, 8000, 8000}, -9, {8, 8, 4, 4}, {}, -7},
        {{2, 2, 8000, 8000}, 3, {1, 2, 3, 4}, {1, 2, 3, 4}, 3},
    };
    for (const auto& [f, spare, block, expected, left] : rows) {
        CAudioConverter::Spare() = spare;
        CAudioConverter converter(f.in, f.out, f.rateIn, f.rateOut, 0);
        EXPECT_EQ(Convert(converter, block), expected);
        EXPECT_EQ(CAudioConverter::Spare(), left);
    }
    CAudioConverter::Spare() = 0;
    CAudioConverter mono(1, 1, 44100, 48000, 0);
    for (const int count : {1115, 1114, 1115, 1114, 1115})
        EXPECT_EQ(mono.ConvertData(Samples(1024).data(), 1024), count);
    EXPECT_EQ(mono.GetValidSize(), 0); // made, but not waiting
    CAudioConverter::Spare() = 0;
    CAudioConverter stereo(2, 2, 48000, 44100, 0);
    for (const int count : {940, 942, 940})
        EXPECT_EQ(stereo.ConvertData(Samples(1024).data(), 1024), count);
    CAudioConverter::Spare() = 1.5; // here the balance counts at equal formats too
    EXPECT_EQ(CAudioConverter(2, 2, 8000, 8000, 0).ConvertData(Samples(4).data(), 4), 6);
}

TEST_P(ConverterTest, KeepsHistoryAndWaitingSamplesWhenItGrows)
{
    EXPECT_EQ(CAudioConverter(1, 1, 8000, 8000, 0).GetFreeSize(), 0x40000);
    CAudioConverter converter(1, 1, 8000, 16000, 16);
    const short first[] = {0, 1000, 2000, 3000}, second[] = {4000, 5000};
    EXPECT_EQ(converter.Put(first, 4), 8);
    EXPECT_EQ(converter.GetFreeSize(), 8); // a need of 16 fits
    EXPECT_EQ(Take(converter, 3), (Samples{0, 0, 500}));
    EXPECT_EQ(converter.Put(second, 2), 9);
    EXPECT_EQ(converter.Put(first, 4), 17);
    EXPECT_EQ(converter.GetFreeSize(), 16 + 2 * 16 + 4096 - 17);
    EXPECT_EQ(Take(converter, 9), (Samples{1000, 1500, 2000, 2500, 3000, 3500, 4000, 4500, 5000}));
    converter.Reset();
    EXPECT_EQ(converter.Put(second, 2), 4);
    EXPECT_EQ(converter.Put(second, 2), 8);
    EXPECT_EQ(Take(converter, 4), (Samples{3500, 4000, 4500, 5000}));

    CAudioConverter copy(1, 1, 8000, 8000, 1);
    copy.Put(first, 4);
    copy.Put(second, 2);
    EXPECT_EQ(Take(copy, 9), (Samples{0, 1000, 2000, 3000, 4000, 5000}));
    CAudioConverter small(1, 1, 8000, 16000, 16);
    small.Put(first, 4);
    CAudioConverter::Spare() = 50; // more than the estimate of the need knows of
    EXPECT_EQ(small.Put(second, 2), 8 + 104);
}

TEST_P(ConverterTest, TakesOddInput)
{
    const short block[] = {1, 2, 3, 4};
    for (const auto& [in, out] : {std::pair{0, 8000}, {8000, 0}, {-1, -1}, {0, 0}}) {
        CAudioConverter silent(2, 2, in, out, 8);
        EXPECT_EQ(silent.Put(block, 4) + silent.ConvertData(block, 4), 0);
    }
    CAudioConverter converter(2, 1, 8000, 16000, -3);
    EXPECT_EQ(converter.Put(nullptr, 4) + converter.ConvertData(nullptr, 4) + converter.Put(block, INT_MIN), 0);
    EXPECT_EQ(CAudioConverter::Spare(), 0);
    CAudioConverter::Spare() = 9;
    EXPECT_EQ(converter.Put(block, 0), 0);
    EXPECT_EQ(converter.Put(block, 4), 22);
    CAudioConverter::Spare() = 1e12; // more than counts hold
    EXPECT_EQ(converter.ConvertData(block, 4) + converter.ConvertData(nullptr, 0) + converter.ConvertData(block, -1),
              0);
    EXPECT_EQ(CAudioConverter(1, 2, 8000, 16000, 8).Begin(block, 1 << 30), 0);
    EXPECT_EQ(CAudioConverter(6, 2, 0, 8000, 8).LongestBlock(1), INT_MAX / 6 * 6);
    CAudioConverter::Spare() = -40;
    EXPECT_EQ(converter.Put(block, 4), 22); // takes no waiting sample back
    EXPECT_EQ(converter.Get(nullptr, 4) + converter.Get(Samples(4).data(), -1), 0);
}

TEST_P(ConverterTest, TellsTheLongestBlockThatFits)
{
    constexpr Format formats[] = {{1, 1, 44100, 48000}, {2, 2, 384000, 8000}, {1, 2, 8000, 384000},
                                  {2, 1, 96000, 8000},  {6, 2, 48000, 44100}, {1, 2, 8000, 8000}};
    for (const Format& f : formats)
        for (const double spare : {0.0, 40.0, -40.0}) {
            CAudioConverter converter(f.in, f.out, f.rateIn, f.rateOut, 8);
            CAudioConverter::Spare() = spare;
            const int longest = converter.LongestBlock(9000);
            ASSERT_EQ(longest % f.in, 0);
            EXPECT_LE(converter.ConvertData(Samples(static_cast<size_t>(longest)).data(), longest), 9000);
            CAudioConverter::Spare() = spare;
            const int longer = longest + f.in;
            EXPECT_GT(converter.ConvertData(Samples(static_cast<size_t>(longer)).data(), longer), 9000);
            CAudioConverter::Spare() = 1e6; // too much for any block: one sample block
            EXPECT_EQ(converter.LongestBlock(9000), f.in);
        }
    constexpr int absurd = INT_MAX - 1; // channels: two sample blocks are more than an int can count
    EXPECT_EQ(CAudioConverter(absurd, 2, 8000, 8000, 8).LongestBlock(9000), absurd);
}

// Blocks that hold what they must and no sample more, steep rates among them, from each first position on. Fractions
// that are next to a sample's step apart need every bit.
TEST_P(ConverterTest, EveryFormOfARowEqualsThePlainOne)
{
    const ResampleTable& rows = ResampleRows();
    for (int i = 0; i < 4000; ++i) {
        const int n = 1 + i % 83, nOut = i % 5 ? static_cast<int>(m_random() % 200) : n, first = i % 9;
        Samples work(static_cast<size_t>(kHistory + n + kLookahead)), pairs(static_cast<size_t>(2 * n));
        FillSamples(work, i % 3);
        FillSamples(pairs, i % 3);
        std::fill_n(work.end() - kLookahead, kLookahead, short{0});
        Samples made(static_cast<size_t>(nOut)), expected = made;
        ResampleBlock block = {work.data() + kHistory, n, nOut, made.data(), 0, nOut}, plain = block;
        plain.out = expected.data();
        rows.mono(block, first);
        ResampleMono(plain, first);
        ASSERT_EQ(made, expected) << n << " to " << nOut;
        // Pieces are as they are in the whole.
        Samples piece(made.size());
        const int cut = nOut / 3;
        rows.mono({block.work, n, nOut, piece.data(), 0, cut}, 0);
        rows.mono({block.work, n, nOut, piece.data() + cut, cut, nOut}, cut);
        ASSERT_TRUE(std::equal(piece.rbegin(), piece.rend() - std::min(first, nOut), expected.rbegin()))
            << n << " to " << nOut;
        block.nOut = plain.nOut = nOut & ~1;
        block.end = plain.end = nOut / 2;
        rows.stereo(block, first);
        ResampleStereo(plain, first);
        ASSERT_EQ(made, expected) << n << " to " << nOut;
        Samples mono(static_cast<size_t>(n)), stereo(pairs.size()), expectedMono = mono, expectedStereo = stereo;
        rows.stereoToMono(pairs.data(), mono.data(), n);
        StereoToMono(pairs.data(), expectedMono.data(), n);
        ASSERT_EQ(mono, expectedMono) << n;
        rows.monoToStereo(mono.data(), stereo.data(), n);
        MonoToStereo(mono.data(), expectedStereo.data(), n);
        ASSERT_EQ(stereo, expectedStereo) << n;
    }
}

TEST(ResampleRowsTest, EachSetHasFormsOfItsOwn)
{
    ExpectFormsOfTheirOwn(ResampleRows);
}

AT_EACH_SET(ConverterTest);

} // namespace
