// The cubic convolution's filtered rows on vectors of a set: four of them make a row of the target.
//
// Exact sums have 36 fractional bits. Weights are split into digits, so that a digit's sums fit a double word; what a
// sum exceeds its digit is carried into the next higher one.
#ifndef ENCMGR_FILTER_ROWS_VECTOR_H
#define ENCMGR_FILTER_ROWS_VECTOR_H

#include "Common/Image/ConvolveRows.h"
#include "Common/Image/vector/ConvolveSmoothing.h"

#include <cstddef>

namespace
{

// ---- proofs ----

// What two digits of 12 bits leave away of a sum of four taps, in steps of 2^-24: the third digit, which is less than a
// step of the second, and the low bits of the carry.
constexpr int kMostFiltered = 319 + kFilteredBias;
constexpr int kLostOfRowSum = 4 * kMostFiltered + 4095;
static_assert(kLostOfRowSum < 2 << 12);
static_assert(4LL * kMostFiltered * 4096 + kLostOfRowSum <= INT32_MAX);

template <class S> struct FilterRowsVector {
    using Vec = typename S::Vec;
    using Smoothing = ConvolveSmoothing<S>;
    static constexpr int kWordPixels = 2 * S::kLanes; // filtered pixels of one vector of words
    static constexpr int kBytePixels = 4 * S::kLanes; // pixels of one vector of bytes

    // Weights of two rows beside each other, for each byte of a pixel; those of byte 3 just copy tap 1.
    static Vec PairOfWeights(int64_t first, int64_t second, int32_t fourth)
    {
        const int32_t pair = static_cast<int32_t>((static_cast<uint32_t>(second) << 16) | static_cast<uint16_t>(first));
        const int32_t pairs[4] = {pair, pair, pair, fourth};
        return S::BroadcastLane(pairs);
    }

    // Weights as three digits: a first one in steps of 2^-12, which may be negative, and two of 12 bits.
    struct RowWeights {
        Vec digits01[3], digits23[3];

        explicit RowWeights(uint32_t fraction)
        {
            int64_t w[4];
            CubicWeightsInSteps(fraction, w);
            for (int i = 0; i < 3; ++i) {
                const int shift = 24 - 12 * i;
                const int64_t mask = i == 0 ? -1 : 4095;
                digits01[i] = PairOfWeights((w[0] >> shift) & mask, (w[1] >> shift) & mask, i == 0 ? 4096 << 16 : 0);
                digits23[i] = PairOfWeights((w[2] >> shift) & mask, (w[3] >> shift) & mask, 0);
            }
        }

        Vec Sum(int digit, Vec taps01, Vec taps23) const
        {
            return S::Add32(S::MulAddPairs16(taps01, digits01[digit]), S::MulAddPairs16(taps23, digits23[digit]));
        }
    };

    // Words of four rows, interleaved from the low and from the high half of each lane.
    struct RowPairs {
        Vec taps01[2], taps23[2];
    };

    template <bool smooth> static RowPairs LoadRows(const FilteredRows& rows, int pixel)
    {
        const ptrdiff_t at = ptrdiff_t{pixel} * kBytesPerPixel;
        const Vec tap0 = S::Load(rows.taps[0] + at), tap3 = S::Load(rows.taps[3] + at);
        Vec tap1 = S::Load(rows.taps[1] + at), tap2 = S::Load(rows.taps[2] + at);
        if constexpr (smooth) {
            const Vec bias = S::Broadcast16(kFilteredBias), before = tap1;
            tap1 = S::Sub16(tap1, bias);
            tap2 = S::Sub16(tap2, bias);
            Smoothing::SmoothInner(S::Sub16(tap0, bias), tap1, tap2, S::Sub16(tap3, bias));
            tap1 = Smoothing::WithFourth(S::Add16(tap1, bias), before);
            tap2 = S::Add16(tap2, bias);
        }
        return {{S::InterleaveLow16(tap0, tap1), S::InterleaveHigh16(tap0, tap1)},
                {S::InterleaveLow16(tap2, tap3), S::InterleaveHigh16(tap2, tap3)}};
    }

    // Sums in steps of 2^-12 with a half added and the bias taken away. Two digits leave them too small by less than
    // two steps (kLostOfRowSum); with the third they are cut once, at the last step.
    template <int digits> static Vec SumOfRows(const RowPairs& pairs, const RowWeights& weights, int half)
    {
        Vec lower = weights.Sum(digits - 1, pairs.taps01[half], pairs.taps23[half]);
        if constexpr (digits == 3)
            lower = S::Add32(weights.Sum(1, pairs.taps01[half], pairs.taps23[half]), S::ShiftRight32(lower, 12));
        const Vec upper = weights.Sum(0, pairs.taps01[half], pairs.taps23[half]);
        const Vec rounding = S::Broadcast32(2048 - (kFilteredBias << 12));
        return S::Add32(S::Add32(upper, rounding), S::ShiftRight32(lower, 12));
    }

    // -1 where the sum is open: all 12 bits after the point are set, so that the third digit may change the result.
    static Vec OpenSums(Vec sum) { return S::Equal32(S::Or(sum, S::Broadcast32(-4096)), S::Broadcast32(-1)); }

    struct Words {
        Vec values[2]; // of two vectors of pixels; rounded down, which clamped to bytes is as good as toward zero
        Vec open;      // 0 if the digits were enough
    };

    template <bool smooth, int digits>
    static Words FilterWords(const FilteredRows& rows, const RowWeights& weights, int pixel)
    {
        Words words;
        words.open = S::Zero();
        for (int i = 0; i < 2; ++i) {
            const RowPairs pairs = LoadRows<smooth>(rows, pixel + i * kWordPixels);
            const Vec low = SumOfRows<digits>(pairs, weights, 0), high = SumOfRows<digits>(pairs, weights, 1);
            words.values[i] = S::Pack32(S::ShiftRight32(low, 12), S::ShiftRight32(high, 12));
            words.open = S::Or(words.open, S::Or(OpenSums(low), OpenSums(high)));
        }
        return words;
    }

    static void StoreBytes(const Words& words, unsigned char* dst, int pixel)
    {
        S::Store(dst + ptrdiff_t{pixel} * kBytesPerPixel,
                 S::Deinterleave8(S::Pack16U(words.values[0], words.values[1])));
    }

    template <bool smooth>
    [[gnu::noinline]] static void FilterBlockExactly(const FilteredRows& rows, unsigned char* dst, int pixel)
    {
        const RowWeights weights(rows.fraction);
        const Words words = FilterWords<smooth, 3>(rows, weights, pixel);
        StoreBytes(words, dst, pixel);
    }

    template <bool smooth>
    static void FilterBlock(const FilteredRows& rows, const RowWeights& weights, unsigned char* dst, int pixel)
    {
        const Words words = FilterWords<smooth, 2>(rows, weights, pixel);
        StoreBytes(words, dst, pixel);
        if (!S::IsZero(words.open))
            FilterBlockExactly<smooth>(rows, dst, pixel);
    }

    template <bool smooth> static void FilterBlocks(const FilteredRows& rows, unsigned char* dst, int count)
    {
        const RowWeights weights(rows.fraction);
        int pixel = 0;
        for (; pixel <= count - kBytePixels; pixel += kBytePixels)
            FilterBlock<smooth>(rows, weights, dst, pixel);
        if (pixel < count) // some pixels twice
            FilterBlock<smooth>(rows, weights, dst, count - kBytePixels);
    }

    static void FilterRows(const FilteredRows& rows, unsigned char* dst, int count)
    {
        if (count < kBytePixels)
            ::FilterRows(rows, dst, count);
        else if (rows.smooth)
            FilterBlocks<true>(rows, dst, count);
        else
            FilterBlocks<false>(rows, dst, count);
    }
};

} // namespace

#endif // ENCMGR_FILTER_ROWS_VECTOR_H
