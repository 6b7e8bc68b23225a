// RGB to YUV on vectors of 32-bit sums, scaled so that a floored term is the high half of its sum.
//
// A sum takes a multiplication of byte pairs and one of word pairs: from the bytes B, R, G, R of each pixel to two
// words, p of B and R and q of G and R, and from those to the sum. The chroma coefficients add up to 0, or to 1 with Cr
// of the block kernels, so they are multiples of B - R and G - R, and for that Cr R on its own.
#ifndef ENCMGR_RGB_TO_YUV_VECTOR_H
#define ENCMGR_RGB_TO_YUV_VECTOR_H

#include "Common/Image/x86/ColourVector.h"

namespace
{

// ---- terms ----

// Sums of 4 pixels in each lane; the low halves are fractions.
struct Terms {
    Vec luma; // without the offset of 16
    Vec cb;
    Vec cr;
};

// The words p = pb B + pr R and q = qg G + qr R.
inline Vec Words(Vec brgr, int pb, int pr, int qg, int qr)
{
    const auto pair = [](int a, int b) { return (b & 0xFF) << 8 | (a & 0xFF); };
    return MM(maddubs_epi16)(brgr, WordPairs(pair(pb, pr), pair(qg, qr)));
}

// The block kernels, times 2^2.
struct FlooredTerms {
    static Terms Of(Vec brgr)
    {
        const Vec differences = Words(brgr, 1, -1, 1, -1);
        // 1606 B + 8258 G + 4211 R
        const Vec luma = MM(madd_epi16)(Words(brgr, 11, -56, 2, 3), WordPairs(584, 16516));
        const Vec cb = MM(madd_epi16)(differences, WordPairs(4 * 7193, -4 * 4768));
        const Vec cr = MM(madd_epi16)(differences, WordPairs(-4 * 1163, -4 * 6029));
        // 4 R, and two bits of G where all else has zeros and nothing carries.
        return {luma, cb, MM(add_epi32)(cr, MM(srli_epi32)(brgr, 22))};
    }
};

// The pixel functions, times 2^6. For bytes they never clamp.
struct RoundedTerms {
    static Terms Of(Vec brgr)
    {
        const Vec half = MM(set1_epi32)(1 << 15);
        const Vec differences = Words(brgr, 1, -1, 1, -1);
        // 100 B + 516 G + 263 R
        const Vec luma = MM(madd_epi16)(Words(brgr, 2, 13, 4, -3), WordPairs(3200, 8256));
        const Vec cb = MM(madd_epi16)(differences, WordPairs(64 * 450, -64 * 298));
        const Vec cr = MM(madd_epi16)(differences, WordPairs(-64 * 73, -64 * 377));
        return {MM(add_epi32)(luma, half), MM(add_epi32)(cb, half), MM(add_epi32)(cr, half)};
    }
};

// ---- sources ----

// They give quadruple i of each lane, by turns, as B, R, G, R, the pixels of a quadruple in the order 0, 2, 1, 3.

struct FromRgb24 {
    static constexpr int bytes = 3;

    // A lane takes 16 bytes for 12: its pixels and the 4 bytes behind them or before. No load leaves the block.
    template <int i> static Vec Pixels(const unsigned char* block)
    {
        static constexpr unsigned char shuffles[48] = {0, 2, 1, 2, 6,  8,  7,  8,  3, 5, 4, 5, 9,  11, 10, 11,
                                                       4, 6, 5, 6, 10, 12, 11, 12, 7, 9, 8, 9, 13, 15, 14, 15,
                                                       0, 2, 1, 2, 6,  8,  7,  8,  3, 5, 4, 5, 9,  11, 10, 11};
#ifdef __AVX2__
        if constexpr (i == 1 || i == 2)
            return _mm256_shuffle_epi8(Load(block + 24 * i - 4), Load(shuffles + 16));
        else
            return _mm256_shuffle_epi8(LoadApart(block + 24 * i, 8), Load(shuffles));
#else
        return _mm_shuffle_epi8(Load(block + (i == 0 ? 0 : 12 * i - 4)), Load(shuffles + (i == 0 ? 0 : 16)));
#endif
    }
};

struct FromRgb32 {
    static constexpr int bytes = 4;

    template <int i> static Vec Pixels(const unsigned char* block)
    {
        static constexpr unsigned char shuffle[16] = {0, 2, 1, 2, 8, 10, 9, 10, 4, 6, 5, 6, 12, 14, 13, 14};
        return MM(shuffle_epi8)(Load(block + i * kVecBytes), LoadInEachLane(shuffle));
    }
};

// ---- blocks ----

// The high halves of two vectors by turns.
inline Vec HighHalves(Vec a, Vec b)
{
    return MM(blend_epi16)(MM(srli_epi32)(a, 16), b, 0xAA);
}

// Of the words from two quadruples in a lane, in their order
//   0, 4, 2, 6, 1, 5, 3, 7
// twice, the bytes in that of the pixels, with luma's offset.
inline Vec LumaBytes(Vec first, Vec second)
{
    static constexpr unsigned char order[16] = {0, 4, 2, 6, 1, 5, 3, 7, 8, 12, 10, 14, 9, 13, 11, 15};
    const Vec bytes = MM(packus_epi16)(first, second);
    return MM(add_epi8)(MM(shuffle_epi8)(bytes, LoadInEachLane(order)), MM(set1_epi8)(16));
}

// Of words of Cb and Cr by turns: both pixels of a pair lie 8 bytes apart, as quadruples are in the order 0, 2, 1, 3.
inline Vec PairSums(Vec first, Vec second)
{
    return MM(add_epi16)(MM(unpacklo_epi64)(first, second), MM(unpackhi_epi64)(first, second));
}

// The bytes U and V by turns, from the words of four quadruples, which are sums of 2^(bits - 1) terms.
template <int bits> inline Vec ChromaBytes(Vec a, Vec b, Vec c, Vec d)
{
    const Vec centred = MM(packs_epi16)(MM(srai_epi16)(PairSums(a, b), bits), MM(srai_epi16)(PairSums(c, d), bits));
    return Xor(centred, MM(set1_epi8)(-128));
}

template <class Source, class Kind, int i> inline Terms TermsOf(const unsigned char* block)
{
    return Kind::Of(Source::template Pixels<i>(block));
}

// Of two rows: each one's luma, in sums, and words of their chroma together. That is added before the halves are taken,
// one step for both rows; what the low halves carry stays there.
struct TwoRows {
    Vec upperLuma;
    Vec lowerLuma;
    Vec chroma;
};

template <class Source, class Kind, int i> inline TwoRows TwoRowsOf(const ConstPixelRows& in)
{
    const Terms upper = TermsOf<Source, Kind, i>(in.upper), lower = TermsOf<Source, Kind, i>(in.lower);
    return {upper.luma, lower.luma, HighHalves(MM(add_epi16)(upper.cb, lower.cb), MM(add_epi16)(upper.cr, lower.cr))};
}

inline void StoreChroma(Vec uv, const YuvRows& out)
{
    static constexpr unsigned char apart[16] = {0, 2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15};
    const Vec uAndV = MM(shuffle_epi8)(uv, LoadInEachLane(apart));
#ifdef __AVX2__
    const __m128i first = _mm256_castsi256_si128(uAndV), second = _mm256_extracti128_si256(uAndV, 1);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out.u), _mm_unpacklo_epi16(first, second));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out.v), _mm_unpackhi_epi16(first, second));
#else
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out.u), uAndV);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out.v), _mm_unpackhi_epi64(uAndV, uAndV));
#endif
}

template <class Source, class Kind> inline void RgbBlockToYuv(const ConstPixelRows& in, const YuvRows& out)
{
    const ptrdiff_t nextPair = 2 * Distance(in.upper, in.lower);
    Prefetch<Source::bytes * kBlock>(in.upper, nextPair);
    Prefetch<Source::bytes * kBlock>(in.lower, nextPair);
    const TwoRows a = TwoRowsOf<Source, Kind, 0>(in), b = TwoRowsOf<Source, Kind, 1>(in);
    const Vec upper0 = HighHalves(a.upperLuma, b.upperLuma), lower0 = HighHalves(a.lowerLuma, b.lowerLuma);
    const TwoRows c = TwoRowsOf<Source, Kind, 2>(in), d = TwoRowsOf<Source, Kind, 3>(in);
    const Vec upper1 = HighHalves(c.upperLuma, d.upperLuma), lower1 = HighHalves(c.lowerLuma, d.lowerLuma);
    Store(out.upperY, FromTurns(LumaBytes(upper0, upper1)));
    Store(out.lowerY, FromTurns(LumaBytes(lower0, lower1)));
    StoreChroma(ChromaBytes<2>(a.chroma, b.chroma, c.chroma, d.chroma), out);
}

// ---- rows ----

template <class Source, class Kind, ColourTable::RgbToYuv ColourTable::*plain>
void RgbToYuv(const ConstPixelRows& in, const YuvRows& out, int width)
{
    const int even = width & ~1;
    if (even < kBlock)
        return (PlainColourRows().*plain)(in, out, width);
    Cover(even, kBlock,
          [in, out](ptrdiff_t x) { RgbBlockToYuv<Source, Kind>(From<Source::bytes>(in, x), From(out, x)); });
    if (even < width)
        (PlainColourRows().*plain)(From<Source::bytes>(in, even), From(out, even), width - even);
}

inline void OverwriteRgbToYuv(ColourTable& table)
{
    table.rgb24ToYuv = RgbToYuv<FromRgb24, FlooredTerms, &ColourTable::rgb24ToYuv>;
    table.rgb32ToYuv = RgbToYuv<FromRgb32, FlooredTerms, &ColourTable::rgb32ToYuv>;
    table.rgb24ToYuvRounded = RgbToYuv<FromRgb24, RoundedTerms, &ColourTable::rgb24ToYuvRounded>;
}

} // namespace

#endif // ENCMGR_RGB_TO_YUV_VECTOR_H
