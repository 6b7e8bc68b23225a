// The scalers' row functions that change 4-byte pixels by what they hold, and the mean of rows, on vectors.
#ifndef ENCMGR_SCALE_STORES_VECTOR_H
#define ENCMGR_SCALE_STORES_VECTOR_H

#include "Common/Image/ScaleRows.h"
#include "Common/x86/Vector.h"

namespace
{

constexpr int kPixels = kVecBytes / 4; // of a vector

// ---- overlays ----

// Each word over 255, for all words.
inline Vec Over255(Vec a)
{
    return MM(srli_epi16)(MM(mulhi_epu16)(a, MM(set1_epi16)(static_cast<short>(0x8081))), 7);
}

// (a * over + (255 - a) * under) / 255 of the pixels in one half of the vectors; no sum leaves a word, so that parts
// may wrap.
inline Vec LayOver(Vec opacity, Vec over, Vec under)
{
    const Vec lift = MM(mullo_epi16)(opacity, MM(sub_epi16)(over, under));
    return Over255(MM(add_epi16)(lift, MM(sub_epi16)(MM(slli_epi16)(under, 8), under)));
}

// Byte 3 goes by the same formula: a colour of 255 adds to the target's, the target's own leaves it alone.
template <bool colours> inline Vec OverlayPixels(Vec row, Vec target)
{
    const Vec byte3 = MM(set1_epi32)(static_cast<int>(0xFF000000));
    const Vec zero = MM(set1_epi8)(0);
    const Vec over = colours ? MM(blendv_epi8)(row, target, byte3) : Or(row, byte3);
    const Vec low = InEachLane(_mm_setr_epi8(3, -1, 3, -1, 3, -1, 3, -1, 7, -1, 7, -1, 7, -1, 7, -1));
    const Vec high = InEachLane(_mm_setr_epi8(11, -1, 11, -1, 11, -1, 11, -1, 15, -1, 15, -1, 15, -1, 15, -1));
    return MM(packus_epi16)(
        LayOver(MM(shuffle_epi8)(row, low), MM(unpacklo_epi8)(over, zero), MM(unpacklo_epi8)(target, zero)),
        LayOver(MM(shuffle_epi8)(row, high), MM(unpackhi_epi8)(over, zero), MM(unpackhi_epi8)(target, zero)));
}

template <bool colours> void OverlayRow(const unsigned char* row, unsigned char* dst, int count, Ahead ahead)
{
    int c = 0;
    for (; c <= count - kPixels; c += kPixels, row += kVecBytes, dst += kVecBytes) {
        FetchAhead(row, ahead.row);
        FetchAhead(dst, ahead.target);
        Store(dst, OverlayPixels<colours>(Load(row), Load(dst)));
    }
    (colours ? PlainScaleRows().overlayColours : PlainScaleRows().overlay)(row, dst, count - c, {});
}

// ---- masks ----

// A vector's mask bytes, each in 32 bits.
inline Vec LoadMask(const unsigned char* mask)
{
    __m128i bytes = _mm_setzero_si128();
    __builtin_memcpy(&bytes, mask, kPixels);
    return MM(cvtepu8_epi32)(bytes);
}

// Pixels with another byte 3, wiped where the mask is 0.
inline Vec CutByMask(Vec mask, Vec pixels, Vec opacity)
{
    const Vec kept = Or(And(pixels, MM(set1_epi32)(0xFFFFFF)), MM(slli_epi32)(opacity, 24));
    return AndNot(MM(cmpeq_epi32)(mask, MM(set1_epi32)(0)), kept);
}

void MaskReplace(const unsigned char* mask, unsigned char* dst, int count, Ahead ahead)
{
    int c = 0;
    for (; c <= count - kPixels; c += kPixels, mask += kPixels, dst += kVecBytes) {
        FetchAhead(dst, ahead.target);
        const Vec m = LoadMask(mask);
        Store(dst, CutByMask(m, Load(dst), m));
    }
    PlainScaleRows().maskReplace(mask, dst, count - c, {});
}

void MaskMultiply(const unsigned char* mask, unsigned char* dst, int count, Ahead ahead)
{
    int c = 0;
    for (; c <= count - kPixels; c += kPixels, mask += kPixels, dst += kVecBytes) {
        FetchAhead(dst, ahead.target);
        const Vec m = LoadMask(mask);
        const Vec pixels = Load(dst);
        Store(dst, CutByMask(m, pixels, Over255(MM(mullo_epi16)(m, MM(srli_epi32)(pixels, 24)))));
    }
    PlainScaleRows().maskMultiply(mask, dst, count - c, {});
}

// ---- means ----

inline Vec SumsOfPairs(Vec pairs)
{
    return MM(maddubs_epi16)(pairs, MM(set1_epi8)(1));
}

// Means of the bytes of two rows and those behind them.
inline Vec MeanOf(Vec upper, Vec upperNext, Vec lower, Vec lowerNext)
{
    const Vec low = MM(add_epi16)(SumsOfPairs(MM(unpacklo_epi8)(upper, upperNext)),
                                  SumsOfPairs(MM(unpacklo_epi8)(lower, lowerNext)));
    const Vec high = MM(add_epi16)(SumsOfPairs(MM(unpackhi_epi8)(upper, upperNext)),
                                   SumsOfPairs(MM(unpackhi_epi8)(lower, lowerNext)));
    return MM(packus_epi16)(MM(srli_epi16)(low, 2), MM(srli_epi16)(high, 2));
}

// The bytes from the second one on, of a vector and the one behind it. Rows were often just stored in whole vectors,
// and a load across two of those would have to wait for both.
inline Vec FromSecond(Vec a, Vec behind)
{
#ifdef __AVX2__
    return _mm256_alignr_epi8(_mm256_permute2x128_si256(a, behind, 0x21), a, 1);
#else
    return _mm_alignr_epi8(behind, a, 1);
#endif
}

void MeanRows(const unsigned char* upper, const unsigned char* lower, unsigned char* dst, int count)
{
    if (count < kVecBytes)
        return PlainScaleRows().meanRows(upper, lower, dst, count);
    Vec u = Load(upper), l = Load(lower);
    int i = 0;
    for (; i <= count + 1 - 2 * kVecBytes; i += kVecBytes) {
        const Vec u1 = Load(upper + i + kVecBytes), l1 = Load(lower + i + kVecBytes);
        Store(dst + i, MeanOf(u, FromSecond(u, u1), l, FromSecond(l, l1)));
        u = u1;
        l = l1;
    }
    // The last vector ends with the row: some bytes are worked out twice.
    for (; i < count; i += kVecBytes) {
        const int at = i < count - kVecBytes ? i : count - kVecBytes;
        Store(dst + at, MeanOf(Load(upper + at), Load(upper + at + 1), Load(lower + at), Load(lower + at + 1)));
    }
}

} // namespace

#endif // ENCMGR_SCALE_STORES_VECTOR_H
