// The cubic convolution's columns on vectors of a set.
//
// Exact sums have 36 fractional bits. Weights are split into digits, so that a digit's sums fit a word; what a sum
// exceeds its digit is carried into the next higher one.
#ifndef ENCMGR_FILTER_COLUMNS_VECTOR_H
#define ENCMGR_FILTER_COLUMNS_VECTOR_H

#include "Common/Image/ConvolveRows.h"
#include "Common/Image/vector/ConvolveSmoothing.h"

#include <new>

namespace
{

constexpr int kColumnGroup = 8; // columns that are filtered together
static_assert(kStripColumns % kColumnGroup == 0);

// A first digit in steps of 1/64, which may be negative, and five of 6 bits.
constexpr int kDigits = 6;

// Weights of a group: two taps stand beside each other for each byte of a pixel; the digits of byte 3 just copy tap 1.
using Digits = int8_t[kDigits][2][kColumnGroup][8];

struct PreparedStrip {
    // From the first to before the second, in whole groups: columns with all taps between 0 and lastColumn.
    int insideFirst;
    int insideEnd;
    alignas(kLongestVector) Digits digits[kStripColumns / kColumnGroup];
};
static_assert(sizeof(PreparedStrip) <= kPreparedStripBytes && alignof(PreparedStrip) <= kLongestVector);

// What Prepare left in the strip's memory.
inline const PreparedStrip& PreparedOf(const ColumnStrip& strip)
{
    return *std::launder(reinterpret_cast<const PreparedStrip*>(strip.prepared));
}

// ---- proofs ----

// Four taps of a byte times a digit of 6 bits, with the carry, which is the 64th part of such a sum, are an unsigned
// word; the two products of one multiplication are a signed one.
constexpr int kDigitSum = 4 * 255 * 63;
static_assert(kDigitSum / 2 <= INT16_MAX && kDigitSum + kDigitSum / 63 <= UINT16_MAX);

// What four digits leave away of a sum, in steps of 2^-24: the last two digits, which are less than a step of the
// fourth, and the low bits of the two that are carried.
constexpr int kLostOfSum = 4 * 255 + 63 + 63 * 64;
static_assert(kLostOfSum < 2 << 12);

template <class S> struct FilterColumnsVector {
    using Vec = typename S::Vec;
    using Smoothing = ConvolveSmoothing<S>;
    static constexpr int kWordPixels = 2 * S::kLanes; // filtered pixels of one vector of words
    static_assert(kColumnGroup % kWordPixels == 0);

    // ---- what is prepared ----

    // The digits of the weights of two taps, for each byte of a pixel. Byte 3 has none of the first tap, and its own of
    // the second.
    static void WriteDigits(int64_t first, int64_t second, int64_t fourth, int8_t (&out)[8])
    {
        const uint64_t pair = (static_cast<uint64_t>(first) & 0xFF) | (static_cast<uint64_t>(second) & 0xFF) << 8;
        const uint64_t bytes = pair * 0x0000000100010001 | static_cast<uint64_t>(fourth) << 56;
        __builtin_memcpy(out, &bytes, sizeof(out));
    }

    static void Prepare(ColumnStrip& strip)
    {
        PreparedStrip& prepared = *std::launder(reinterpret_cast<PreparedStrip*>(strip.prepared));
        const int padded = (strip.count + kColumnGroup - 1) / kColumnGroup * kColumnGroup;
        for (int c = 0; c < padded; ++c) {
            const int column = c < strip.count ? c : strip.count - 1;
            strip.offsets[c] = strip.offsets[column];
            int64_t w[4];
            for (int i = 0; i < 4; ++i)
                w[i] = WeightInSteps(strip.weights[column][i]);
            for (int digit = 0; digit < kDigits; ++digit) {
                auto& out = prepared.digits[c / kColumnGroup][digit];
                const int shift = 30 - 6 * digit;
                const int64_t mask = digit == 0 ? -1 : 63;
                WriteDigits(w[0] >> shift & mask, w[1] >> shift & mask, digit == 0 ? 64 : 0, out[0][c % kColumnGroup]);
                WriteDigits(w[2] >> shift & mask, w[3] >> shift & mask, 0, out[1][c % kColumnGroup]);
            }
        }
        int first = 0, end = padded;
        while (first < padded && strip.offsets[first] < 0)
            first += kColumnGroup;
        while (end > first && strip.offsets[end - 1] > (strip.lastColumn - 3) * kBytesPerPixel)
            end -= kColumnGroup;
        prepared.insideFirst = first;
        prepared.insideEnd = end;
    }

    // ---- columns ----

    // Taps of a vector of filtered pixels, as bytes: for each byte of a pixel tap 0 beside tap 1, and tap 2 beside
    // tap 3.
    struct TapPairs {
        Vec taps01;
        Vec taps23;

        // Of one digit, from the group's column `first` on.
        Vec Sum(const Digits& digits, int digit, int first) const
        {
            return S::Add16(S::MulAddPairs8(taps01, S::Load(digits[digit][0][first])),
                            S::MulAddPairs8(taps23, S::Load(digits[digit][1][first])));
        }

        void Smooth()
        {
            const Vec low = S::Broadcast16(0xFF);
            const Vec before = taps01, tap0 = S::And(taps01, low), tap3 = S::ShiftRight16U(taps23, 8);
            Vec tap1 = S::ShiftRight16U(taps01, 8), tap2 = S::And(taps23, low);
            Smoothing::SmoothInner(tap0, tap1, tap2, tap3); // they stay bytes
            taps01 = Smoothing::WithFourth(S::Or(tap0, S::ShiftLeft16(tap1, 8)), before);
            taps23 = S::Or(tap2, S::ShiftLeft16(tap3, 8));
        }
    };

    // A sum in steps of 1/64 below zero gives -1 in its word.
    static Vec BelowZero(Vec sum) { return S::ShiftRight16(sum, 15); }

    static Vec CarriedInto(Vec sum, Vec lower) { return S::Add16(sum, S::ShiftRight16U(lower, 6)); }

    // Cut at a whole number toward zero, where all but whole sums are one too low below zero.
    static void StoreFiltered(int16_t* out, Vec sum, Vec correction)
    {
        const Vec value = S::Sub16(S::ShiftRight16(sum, 6), correction);
        S::Store(out, S::Add16(value, S::Broadcast16(kFilteredBias)));
    }

    // From four digits, which leave sums too small by less than two steps of 2^-12 (kLostOfSum). Returns the 12 bits
    // after the point on top of words, less one for sums below zero: from kOpen on, the sum is open, as more digits may
    // change the result. That is so with 4095 after the point, and below zero with 0 as well, where a whole sum isn't
    // told from one just above it.
    static constexpr int kOpen = 4094 << 4;

    static Vec FilterShort(const TapPairs& taps, const Digits& digits, int first, int16_t* out)
    {
        const Vec third = CarriedInto(taps.Sum(digits, 2, first), taps.Sum(digits, 3, first));
        const Vec second = CarriedInto(taps.Sum(digits, 1, first), third);
        const Vec half = S::Add16(taps.Sum(digits, 0, first), S::Broadcast16(32));
        const Vec sum = CarriedInto(half, second);
        const Vec below = BelowZero(sum);
        StoreFiltered(out, sum, below);
        return S::ShiftLeft16(S::Add16(S::Add16(S::ShiftLeft16(half, 6), second), below), 4);
    }

    static void FilterExactly(const TapPairs& taps, const Digits& digits, int first, int16_t* out)
    {
        Vec sum = taps.Sum(digits, kDigits - 1, first), fraction = sum;
        for (int digit = kDigits - 2; digit >= 0; --digit) {
            sum = CarriedInto(taps.Sum(digits, digit, first), sum);
            if (digit == 0)
                sum = S::Add16(sum, S::Broadcast16(32));
            fraction = S::Or(fraction, sum);
        }
        const Vec whole = S::Equal16(S::And(fraction, S::Broadcast16(63)), S::Zero());
        StoreFiltered(out, sum, S::AndNot(whole, BelowZero(sum)));
    }

    // From the windows of 16 bytes at these offsets: lane l has the columns 2 l and 2 l + 1.
    template <bool smooth> static TapPairs LoadTaps(const unsigned char* row, const int32_t* offsets)
    {
        static constexpr int8_t neighbours[16] = {0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15};
        const Vec order = S::BroadcastLane(neighbours);
        const Vec even = S::Shuffle8(S::LoadLanes([=](int lane) { return row + offsets[2 * lane]; }), order);
        const Vec odd = S::Shuffle8(S::LoadLanes([=](int lane) { return row + offsets[2 * lane + 1]; }), order);
        TapPairs taps = {S::InterleaveLow64(even, odd), S::InterleaveHigh64(even, odd)};
        if constexpr (smooth)
            taps.Smooth();
        return taps;
    }

    // Not inlined, as it would take registers from the loop around.
    template <bool smooth>
    [[gnu::noinline]] static void FilterGroupExactly(const unsigned char* row, const int32_t* offsets,
                                                     const Digits& digits, int16_t* out)
    {
        for (int i = 0; i < kColumnGroup; i += kWordPixels)
            FilterExactly(LoadTaps<smooth>(row, offsets + i), digits, i, out + i * kBytesPerPixel);
    }

    template <bool smooth>
    static void FilterGroup(const unsigned char* row, const int32_t* offsets, const Digits& digits, int16_t* out)
    {
        Vec most = S::Zero();
        for (int i = 0; i < kColumnGroup; i += kWordPixels)
            most =
                S::Max16U(most, FilterShort(LoadTaps<smooth>(row, offsets + i), digits, i, out + i * kBytesPerPixel));
        if (!S::IsZero(S::SubSaturated16U(most, S::Broadcast16(kOpen - 1))))
            FilterGroupExactly<smooth>(row, offsets, digits, out);
    }

    // A group at an end of a source row, where taps are clamped: they are brought together first. There are few, so it
    // is not inlined.
    template <bool smooth>
    [[gnu::noinline]] static void FilterEdge(const ColumnStrip& strip, const Digits& digits, int group,
                                             const unsigned char* row, int16_t* out)
    {
        static constexpr int32_t together[kColumnGroup] = {0, 16, 32, 48, 64, 80, 96, 112};
        const int32_t last = strip.lastColumn * kBytesPerPixel;
        unsigned char taps[kColumnGroup][4][kBytesPerPixel];
        for (int i = 0; i < kColumnGroup; ++i)
            for (int t = 0; t < 4; ++t) {
                const int32_t offset = strip.offsets[group + i] + t * kBytesPerPixel;
                __builtin_memcpy(taps[i][t], row + (offset < 0 ? 0 : offset > last ? last : offset), kBytesPerPixel);
            }
        FilterGroup<smooth>(taps[0][0], together, digits, out + group * kBytesPerPixel);
    }

    template <bool smooth> static void FilterStrip(const ColumnStrip& strip, const unsigned char* row, int16_t* out)
    {
        const PreparedStrip& prepared = PreparedOf(strip);
        int group = 0;
        const auto filterEdges = [&](int end) {
            for (; group < end; group += kColumnGroup)
                FilterEdge<smooth>(strip, prepared.digits[group / kColumnGroup], group, row, out);
        };
        filterEdges(prepared.insideFirst);
        for (; group < prepared.insideEnd; group += kColumnGroup)
            FilterGroup<smooth>(row, strip.offsets + group, prepared.digits[group / kColumnGroup],
                                out + group * kBytesPerPixel);
        filterEdges(strip.count);
    }

    static void FilterColumns(const ColumnStrip& strip, const unsigned char* row, int16_t* out)
    {
        if (strip.smooth)
            FilterStrip<true>(strip, row, out);
        else
            FilterStrip<false>(strip, row, out);
    }
};

} // namespace

#endif // ENCMGR_FILTER_COLUMNS_VECTOR_H
