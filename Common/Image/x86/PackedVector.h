// Packed 4:2:2 and fourth bytes on vectors.
#ifndef ENCMGR_PACKED_VECTOR_H
#define ENCMGR_PACKED_VECTOR_H

#include "Common/Image/x86/ColourVector.h"
#include "Common/Image/x86/RgbToYuvVector.h"
#include "Common/Image/x86/YuvToRgbVector.h"

namespace
{

inline bool IsYuy2(PairOrder order)
{
    return order.y0 == 0;
}

// A block's packed pairs from its bytes of luma and of chroma, U and V by turns, both in groups of 8 by turns.
template <bool yuy2> inline void PutPairs(Vec y, Vec uv, unsigned char* out)
{
    Store(out, yuy2 ? MM(unpacklo_epi8)(y, uv) : MM(unpacklo_epi8)(uv, y));
    Store(out + kVecBytes, yuy2 ? MM(unpackhi_epi8)(y, uv) : MM(unpackhi_epi8)(uv, y));
}

// From quadruples by turns to groups of 8.
inline Vec TurnsToGroups(Vec a)
{
#ifdef __AVX2__
    return _mm256_permutevar8x32_epi32(a, _mm256_setr_epi32(0, 4, 2, 6, 1, 5, 3, 7));
#else
    return a;
#endif
}

// A shuffle of 4 pairs in a lane: 8 of Y; U and V by turns.
inline Vec ApartOrder(PairOrder order)
{
    static constexpr unsigned char ofYuy2[16] = {0, 2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15};
    static constexpr unsigned char ofUyvy[16] = {1, 3, 5, 7, 9, 11, 13, 15, 0, 2, 4, 6, 8, 10, 12, 14};
    return LoadInEachLane(IsYuy2(order) ? ofYuy2 : ofUyvy);
}

// ---- to and from RGB ----

template <bool yuy2> inline void Rgb24BlockToPacked(const unsigned char* in, unsigned char* out)
{
    const Terms a = TermsOf<FromRgb24, FlooredTerms, 0>(in), b = TermsOf<FromRgb24, FlooredTerms, 1>(in);
    const Terms c = TermsOf<FromRgb24, FlooredTerms, 2>(in), d = TermsOf<FromRgb24, FlooredTerms, 3>(in);
    const Vec y = LumaBytes(HighHalves(a.luma, b.luma), HighHalves(c.luma, d.luma));
    const Vec uv =
        ChromaBytes<1>(HighHalves(a.cb, a.cr), HighHalves(b.cb, b.cr), HighHalves(c.cb, c.cr), HighHalves(d.cb, d.cr));
    PutPairs<yuy2>(TurnsToGroups(y), TurnsToGroups(uv), out);
}

void Rgb24ToPacked(const unsigned char* row, unsigned char* out, int width, PairOrder order)
{
    const int even = width & ~1;
    if (even < kBlock)
        return PlainColourRows().rgb24ToPacked(row, out, width, order);
    if (IsYuy2(order))
        Cover(even, kBlock, [row, out](ptrdiff_t x) { Rgb24BlockToPacked<true>(row + 3 * x, out + 2 * x); });
    else
        Cover(even, kBlock, [row, out](ptrdiff_t x) { Rgb24BlockToPacked<false>(row + 3 * x, out + 2 * x); });
    if (even < width)
        PlainColourRows().rgb24ToPacked(row + ptrdiff_t{3} * even, out + ptrdiff_t{2} * even, width - even, order);
}

inline void PackedBlockToRgb24(const unsigned char* in, unsigned char* out, Vec apart)
{
    const Vec first = MM(shuffle_epi8)(LoadApart(in, 32), apart);
    const Vec second = MM(shuffle_epi8)(LoadApart(in + 16, 32), apart);
    const Bases bases = BasesOf<FlooredBases>(MM(unpackhi_epi64)(first, second));
    Rgb24::Put(ChannelsOf(MM(unpacklo_epi64)(first, second), bases), out);
}

void PackedToRgb24(const unsigned char* row, unsigned char* out, int width, PairOrder order)
{
    const int even = width & ~1;
    if (even < kBlock)
        return PlainColourRows().packedToRgb24(row, out, width, order);
    const Vec apart = ApartOrder(order);
    Cover(even, kBlock, [row, out, apart](ptrdiff_t x) { PackedBlockToRgb24(row + 2 * x, out + 3 * x, apart); });
    if (even < width)
        PlainColourRows().packedToRgb24(row + ptrdiff_t{2} * even, out + ptrdiff_t{3} * even, width - even, order);
}

// ---- to and from planes ----

// Packed pairs become two blocks at a time, so that each plane of chroma gets a whole vector.
constexpr int kTwoBlocksOfPairs = kBlock;

// Of a block, groups of 8 bytes by turns.
struct Apart {
    Vec y;
    Vec uv;

    Apart(const unsigned char* in, Vec apart)
    {
        const Vec first = MM(shuffle_epi8)(Load(in), apart);
        const Vec second = MM(shuffle_epi8)(Load(in + kVecBytes), apart);
        y = MM(unpacklo_epi64)(first, second);
        uv = MM(unpackhi_epi64)(first, second);
    }
};

// (a + b) >> 1
inline Vec FlooredMean(Vec a, Vec b)
{
    return MM(sub_epi8)(MM(avg_epu8)(a, b), And(Xor(a, b), MM(set1_epi8)(1)));
}

inline void PackedBlocksToYuv(const ConstPixelRows& in, const YuvRows& out, Vec apart)
{
    const Apart a(in.upper, apart), b(in.upper + 2 * kVecBytes, apart);
    const Apart c(in.lower, apart), d(in.lower + 2 * kVecBytes, apart);
    Store(out.upperY, SwapMiddle(a.y));
    Store(out.upperY + kVecBytes, SwapMiddle(b.y));
    Store(out.lowerY, SwapMiddle(c.y));
    Store(out.lowerY + kVecBytes, SwapMiddle(d.y));
    const Vec uv0 = FlooredMean(a.uv, c.uv), uv1 = FlooredMean(b.uv, d.uv);
    const Vec low = MM(set1_epi16)(0xFF);
    const Vec u = MM(packus_epi16)(And(uv0, low), And(uv1, low));
    const Vec v = MM(packus_epi16)(MM(srli_epi16)(uv0, 8), MM(srli_epi16)(uv1, 8));
    Store(out.u, FromTurns(u));
    Store(out.v, FromTurns(v));
}

void PackedToYuv(const ConstPixelRows& in, const YuvRows& out, int pairs, PairOrder order)
{
    if (pairs < kTwoBlocksOfPairs)
        return PlainColourRows().packedToYuv(in, out, pairs, order);
    const Vec apart = ApartOrder(order);
    Cover(pairs, kTwoBlocksOfPairs,
          [in, out, apart](ptrdiff_t i) { PackedBlocksToYuv(From<4>(in, i), From(out, 2 * i), apart); });
}

template <bool yuy2> inline void YuvBlockToPacked(const ConstYuvRows& in, const PixelRows& out)
{
    const Vec uv = SwapMiddle(LoadChroma(in.u, in.v));
    PutPairs<yuy2>(SwapMiddle(Load(in.upperY)), uv, out.upper);
    PutPairs<yuy2>(SwapMiddle(Load(in.lowerY)), uv, out.lower);
}

void YuvToPacked(const ConstYuvRows& in, const PixelRows& out, int pairs, PairOrder order)
{
    if (pairs < kBlock / 2)
        return PlainColourRows().yuvToPacked(in, out, pairs, order);
    if (IsYuy2(order))
        Cover(pairs, kBlock / 2, [in, out](ptrdiff_t i) { YuvBlockToPacked<true>(From(in, 2 * i), From<4>(out, i)); });
    else
        Cover(pairs, kBlock / 2, [in, out](ptrdiff_t i) { YuvBlockToPacked<false>(From(in, 2 * i), From<4>(out, i)); });
}

// ---- bytes ----

void SwapPacked(const unsigned char* row, unsigned char* out, int pairs)
{
    if (pairs < kVecBytes / 4)
        return PlainColourRows().swapPacked(row, out, pairs);
    Cover(pairs, kVecBytes / 4, [row, out](ptrdiff_t i) {
        const Vec words = Load(row + 4 * i);
        Store(out + 4 * i, Or(MM(slli_epi16)(words, 8), MM(srli_epi16)(words, 8)));
    });
}

// Words of two vectors' fourth bytes.
inline Vec FourthBytes(const unsigned char* row)
{
    return MM(packus_epi32)(MM(srli_epi32)(Load(row), 24), MM(srli_epi32)(Load(row + kVecBytes), 24));
}

void Alpha(const unsigned char* row, unsigned char* a, int width)
{
    const int even = width & ~1;
    if (even < kBlock)
        return PlainColourRows().alpha(row, a, width);
    Cover(even, kBlock, [row, a](ptrdiff_t x) {
        const unsigned char* const block = row + 4 * x;
        Store(a + x, FromTurns(MM(packus_epi16)(FourthBytes(block), FourthBytes(block + 2 * kVecBytes))));
    });
    if (even < width)
        PlainColourRows().alpha(row + ptrdiff_t{4} * even, a + even, width - even);
}

inline void OverwritePacked(ColourTable& table)
{
    table.alpha = Alpha;
    table.rgb24ToPacked = Rgb24ToPacked;
    table.packedToRgb24 = PackedToRgb24;
    table.packedToYuv = PackedToYuv;
    table.yuvToPacked = YuvToPacked;
    table.swapPacked = SwapPacked;
}

} // namespace

#endif // ENCMGR_PACKED_VECTOR_H
