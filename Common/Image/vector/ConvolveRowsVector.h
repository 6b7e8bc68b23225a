// The cubic convolution's row functions on vectors, for the instruction set of the including file.
//
// Exact sums have 36 fractional bits. Weights are split into digits, so that a digit's sums fit a word or a double
// word; what a sum exceeds its digit goes over into the next higher one.
#ifndef ENCMGR_CONVOLVE_ROWS_VECTOR_H
#define ENCMGR_CONVOLVE_ROWS_VECTOR_H

#include "Common/Image/ConvolveRows.h"

namespace
{

constexpr int kBytesPerPixel = 4;
constexpr int kLoadPixels = 2 * S::kLanes; // filtered pixels of one vector of words
constexpr int kBlock = 2 * kLoadPixels;    // pixels of one vector of bytes

inline bool S::IsZero(Vec a)
{
#ifdef __AVX2__
    return _mm256_testz_si256(a, a);
#else
    return _mm_testz_si128(a, a);
#endif
}

// ---- smoothing ----

// e / 3 toward zero, for at least -766 to 766.
inline Vec ThirdOf(Vec e)
{
    return S::Sub16(S::MulHigh16(e, S::Broadcast16(21846)), S::ShiftRight16(e, 15));
}

// v / 2 toward zero.
inline Vec HalfOf(Vec v)
{
    return S::ShiftRight16(S::Sub16(v, S::ShiftRight16(v, 15)), 1);
}

// Words: the inner taps are averaged with their points on the line between the outer ones.
inline void SmoothInner(Vec tap0, Vec& tap1, Vec& tap2, Vec tap3)
{
    const Vec rise = S::Sub16(tap3, tap0);
    tap1 = HalfOf(S::Add16(S::Add16(tap0, tap1), ThirdOf(rise)));
    tap2 = HalfOf(S::Add16(S::Add16(tap0, tap2), ThirdOf(S::Add16(rise, rise))));
}

// Byte 3 of each pixel, as a word, from the second.
inline Vec WithFourth(Vec words, Vec fourth)
{
    return MM(blend_epi16)(words, fourth, 0x88);
}

// ---- columns ----

// 16 bytes from row + offsets[0] on, and in the second lane, if there is one, from row + offsets[2] on.
inline Vec LoadWindows(const unsigned char* row, const int32_t* offsets)
{
    const __m128i lane = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + offsets[0]));
#ifdef __AVX2__
    return _mm256_inserti128_si256(_mm256_castsi128_si256(lane),
                                   _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + offsets[2])), 1);
#else
    return lane;
#endif
}

using Digits = int8_t[ColumnStrip::kDigits][2][kColumnGroup][8];

// Taps of a vector of filtered pixels, as bytes: for each byte of a pixel tap 0 beside tap 1, and tap 2 beside tap 3.
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
        SmoothInner(tap0, tap1, tap2, tap3); // they stay bytes
        taps01 = WithFourth(S::Or(tap0, S::ShiftLeft16(tap1, 8)), before);
        taps23 = S::Or(tap2, S::ShiftLeft16(tap3, 8));
    }
};

// A sum in steps of 1/64 below zero gives -1 in its word.
inline Vec BelowZero(Vec sum)
{
    return S::ShiftRight16(sum, 15);
}

inline Vec CarriedInto(Vec sum, Vec lower)
{
    return S::Add16(sum, S::ShiftRight16U(lower, 6));
}

// Cut at a whole number toward zero, where all but whole sums are one too low below zero.
inline void StoreFiltered(int16_t* out, Vec sum, Vec correction)
{
    const Vec value = S::Sub16(S::ShiftRight16(sum, 6), correction);
    S::Store(out, S::Add16(value, S::Broadcast16(kFilteredBias)));
}

// From four digits, which leave sums too small by less than two of their last steps, 2^-12. Returns the 12 bits behind
// the point on top of words, less one for sums below zero: from kOpen on more digits may change the result. That is so
// with 4095 behind the point, and below zero with 0 as well, where a whole sum isn't told from one just above it.
constexpr int kOpen = 4094 << 4;

inline Vec FilterShort(const TapPairs& taps, const Digits& digits, int first, int16_t* out)
{
    const Vec third = CarriedInto(taps.Sum(digits, 2, first), taps.Sum(digits, 3, first));
    const Vec second = CarriedInto(taps.Sum(digits, 1, first), third);
    const Vec half = S::Add16(taps.Sum(digits, 0, first), S::Broadcast16(32));
    const Vec sum = CarriedInto(half, second);
    const Vec below = BelowZero(sum);
    StoreFiltered(out, sum, below);
    return S::ShiftLeft16(S::Add16(S::Add16(S::ShiftLeft16(half, 6), second), below), 4);
}

inline void FilterExactly(const TapPairs& taps, const Digits& digits, int first, int16_t* out)
{
    Vec sum = taps.Sum(digits, ColumnStrip::kDigits - 1, first), fraction = sum;
    for (int digit = ColumnStrip::kDigits - 2; digit >= 0; --digit) {
        sum = CarriedInto(taps.Sum(digits, digit, first), sum);
        if (digit == 0)
            sum = S::Add16(sum, S::Broadcast16(32));
        fraction = S::Or(fraction, sum);
    }
    const Vec whole = S::Equal16(S::And(fraction, S::Broadcast16(63)), S::Broadcast16(0));
    StoreFiltered(out, sum, S::AndNot(whole, BelowZero(sum)));
}

// From the windows of 16 bytes at these offsets.
template <bool smooth> inline TapPairs LoadTaps(const unsigned char* row, const int32_t* offsets)
{
    static constexpr int8_t neighbours[16] = {0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15};
    const Vec order = S::BroadcastLane(neighbours);
    const Vec even = S::Shuffle8(LoadWindows(row, offsets), order);
    const Vec odd = S::Shuffle8(LoadWindows(row, offsets + 1), order);
    TapPairs taps = {S::InterleaveLow64(even, odd), S::InterleaveHigh64(even, odd)};
    if constexpr (smooth)
        taps.Smooth();
    return taps;
}

// Not inlined, as it would take registers from the loop around.
template <bool smooth>
[[gnu::noinline]] void FilterGroupExactly(const unsigned char* row, const int32_t* offsets, const Digits& digits,
                                          int16_t* out)
{
    for (int i = 0; i < kColumnGroup; i += kLoadPixels)
        FilterExactly(LoadTaps<smooth>(row, offsets + i), digits, i, out + i * kBytesPerPixel);
}

template <bool smooth>
inline void FilterGroup(const unsigned char* row, const int32_t* offsets, const Digits& digits, int16_t* out)
{
    Vec most = S::Broadcast16(0);
    for (int i = 0; i < kColumnGroup; i += kLoadPixels)
        most = S::Max16U(most, FilterShort(LoadTaps<smooth>(row, offsets + i), digits, i, out + i * kBytesPerPixel));
    if (!S::IsZero(S::SubSaturated16U(most, S::Broadcast16(static_cast<short>(kOpen - 1)))))
        FilterGroupExactly<smooth>(row, offsets, digits, out);
}

// A group at an end of a source row, where taps are held: they are brought together first.
template <bool smooth>
inline void FilterEdge(const ColumnStrip& strip, int group, const unsigned char* row, int16_t* out)
{
    static constexpr int32_t together[kColumnGroup] = {0, 16, 32, 48, 64, 80, 96, 112};
    const int32_t last = strip.lastColumn * kBytesPerPixel;
    unsigned char taps[kColumnGroup][4][kBytesPerPixel];
    for (int i = 0; i < kColumnGroup; ++i)
        for (int t = 0; t < 4; ++t) {
            const int32_t offset = strip.offsets[group + i] + t * kBytesPerPixel;
            __builtin_memcpy(taps[i][t], row + (offset < 0 ? 0 : offset > last ? last : offset), kBytesPerPixel);
        }
    FilterGroup<smooth>(taps[0][0], together, strip.digits[group / kColumnGroup], out + group * kBytesPerPixel);
}

template <bool smooth> inline void FilterStrip(const ColumnStrip& strip, const unsigned char* row, int16_t* out)
{
    int group = 0;
    for (; group < strip.insideFirst; group += kColumnGroup)
        FilterEdge<smooth>(strip, group, row, out);
    for (; group < strip.insideEnd; group += kColumnGroup)
        FilterGroup<smooth>(row, strip.offsets + group, strip.digits[group / kColumnGroup],
                            out + group * kBytesPerPixel);
    for (; group < strip.count; group += kColumnGroup)
        FilterEdge<smooth>(strip, group, row, out);
}

void FilterColumnsVector(const ColumnStrip& strip, const unsigned char* row, int16_t* out)
{
    if (strip.smooth)
        FilterStrip<true>(strip, row, out);
    else
        FilterStrip<false>(strip, row, out);
}

// ---- rows ----

// Weights of two rows beside each other, for each byte of a pixel; those of byte 3 just copy tap 1.
inline Vec PairOfWeights(int64_t first, int64_t second, int32_t fourth)
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

template <bool smooth> inline RowPairs LoadRows(const FilteredRows& rows, int pixel)
{
    const ptrdiff_t at = ptrdiff_t{pixel} * kBytesPerPixel;
    const Vec tap0 = S::Load(rows.taps[0] + at), tap3 = S::Load(rows.taps[3] + at);
    Vec tap1 = S::Load(rows.taps[1] + at), tap2 = S::Load(rows.taps[2] + at);
    if constexpr (smooth) {
        const Vec bias = S::Broadcast16(kFilteredBias), before = tap1;
        tap1 = S::Sub16(tap1, bias);
        tap2 = S::Sub16(tap2, bias);
        SmoothInner(S::Sub16(tap0, bias), tap1, tap2, S::Sub16(tap3, bias));
        tap1 = WithFourth(S::Add16(tap1, bias), before);
        tap2 = S::Add16(tap2, bias);
    }
    return {{S::InterleaveLow16(tap0, tap1), S::InterleaveHigh16(tap0, tap1)},
            {S::InterleaveLow16(tap2, tap3), S::InterleaveHigh16(tap2, tap3)}};
}

// Sums in steps of 2^-12 with a half added and the bias taken away. Two digits leave them too small by less than two
// steps; with the third they are cut once, at the last step.
template <int digits> inline Vec SumOfRows(const RowPairs& pairs, const RowWeights& weights, int half)
{
    Vec lower = weights.Sum(digits - 1, pairs.taps01[half], pairs.taps23[half]);
    if constexpr (digits == 3)
        lower = S::Add32(weights.Sum(1, pairs.taps01[half], pairs.taps23[half]), S::ShiftRight32(lower, 12));
    const Vec upper = weights.Sum(0, pairs.taps01[half], pairs.taps23[half]);
    const Vec rounding = S::Broadcast32(2048 - (kFilteredBias << 12));
    return S::Add32(S::Add32(upper, rounding), S::ShiftRight32(lower, 12));
}

// -1 where all 12 bits behind the point are set, so that the third digit may change the result.
inline Vec OpenSums(Vec sum)
{
    return S::Equal32(S::Or(sum, S::Broadcast32(-4096)), S::Broadcast32(-1));
}

struct Words {
    Vec values[2]; // of two vectors of pixels; rounded down, which held to bytes is as good as toward zero
    Vec open;      // 0 if the digits were enough
};

template <bool smooth, int digits>
inline Words FilterWords(const FilteredRows& rows, const RowWeights& weights, int pixel)
{
    Words words;
    words.open = S::Broadcast32(0);
    for (int i = 0; i < 2; ++i) {
        const RowPairs pairs = LoadRows<smooth>(rows, pixel + i * kLoadPixels);
        const Vec low = SumOfRows<digits>(pairs, weights, 0), high = SumOfRows<digits>(pairs, weights, 1);
        words.values[i] = S::Pack32(S::ShiftRight32(low, 12), S::ShiftRight32(high, 12));
        words.open = S::Or(words.open, S::Or(OpenSums(low), OpenSums(high)));
    }
    return words;
}

// Two vectors of words as one of bytes.
inline Vec HeldToBytes(Vec first, Vec second)
{
    const Vec bytes = S::Pack16U(first, second);
#ifdef __AVX2__
    return _mm256_permute4x64_epi64(bytes, _MM_SHUFFLE(3, 1, 2, 0));
#else
    return bytes;
#endif
}

template <bool smooth>
[[gnu::noinline]] void FilterBlockExactly(const FilteredRows& rows, unsigned char* dst, int pixel)
{
    const RowWeights weights(rows.fraction);
    const Words words = FilterWords<smooth, 3>(rows, weights, pixel);
    S::Store(dst + ptrdiff_t{pixel} * kBytesPerPixel, HeldToBytes(words.values[0], words.values[1]));
}

template <bool smooth>
inline void FilterBlock(const FilteredRows& rows, const RowWeights& weights, unsigned char* dst, int pixel)
{
    const Words words = FilterWords<smooth, 2>(rows, weights, pixel);
    S::Store(dst + ptrdiff_t{pixel} * kBytesPerPixel, HeldToBytes(words.values[0], words.values[1]));
    if (!S::IsZero(words.open))
        FilterBlockExactly<smooth>(rows, dst, pixel);
}

template <bool smooth> inline void FilterBlocks(const FilteredRows& rows, unsigned char* dst, int count)
{
    const RowWeights weights(rows.fraction);
    int pixel = 0;
    for (; pixel <= count - kBlock; pixel += kBlock)
        FilterBlock<smooth>(rows, weights, dst, pixel);
    if (pixel < count) // some pixels twice
        FilterBlock<smooth>(rows, weights, dst, count - kBlock);
}

void FilterRowsVector(const FilteredRows& rows, unsigned char* dst, int count)
{
    if (count < kBlock)
        FilterRows(rows, dst, count);
    else if (rows.smooth)
        FilterBlocks<true>(rows, dst, count);
    else
        FilterBlocks<false>(rows, dst, count);
}

} // namespace

#endif // ENCMGR_CONVOLVE_ROWS_VECTOR_H
