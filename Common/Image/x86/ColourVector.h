// What the colour conversions on vectors share: how they walk along rows, and how pixels lie in vectors.
//
// Work goes by blocks of 16 pixels for each lane, in one of two layouts. Apart: lane 0 has the block's first 16 pixels
// and lane 1 the others. By turns: lane 0 has quadruples 0, 2, 4 and 6 and lane 1 has 1, 3, 5 and 7. With one lane both
// are the same.
#ifndef ENCMGR_COLOUR_VECTOR_H
#define ENCMGR_COLOUR_VECTOR_H

#include "Common/Image/ColourRows.h"
#include "Common/x86/Vector.h"

namespace
{

constexpr int kBlock = 16 * kLanes; // pixels

// ---- rows ----

// Calls block(x) so that blocks cover 0 to size - 1; the last one overlaps the one before it where they don't divide
// the size. REQUIRES: size >= step. Converting a pixel twice gives the same bytes.
template <class Block> inline void Cover(ptrdiff_t size, int step, const Block& block)
{
    ptrdiff_t x = 0;
    for (; x <= size - step; x += step)
        block(x);
    if (x < size)
        block(size - step);
}

// The rows from pixel x on, which begins a pair.
template <class Byte> inline PlanarRows<Byte> From(const PlanarRows<Byte>& rows, ptrdiff_t x)
{
    return {rows.upperY + x, rows.lowerY + x, rows.u + x / 2, rows.v + x / 2};
}

template <int bytes, class Byte> inline PackedRows<Byte> From(const PackedRows<Byte>& rows, ptrdiff_t x)
{
    return {rows.upper + bytes * x, rows.lower + bytes * x};
}

// Asks for `bytes` bytes of another row, `step` bytes behind p: processors foresee walks up a picture, as bottom-up
// bitmaps have them, badly. Behind the last row there is nothing to be had, and no harm done.
template <int bytes> inline void Prefetch(const unsigned char* p, ptrdiff_t step)
{
    const uintptr_t address = reinterpret_cast<uintptr_t>(p) + static_cast<uintptr_t>(step);
    for (uintptr_t i = 0; i < bytes; i += 64)
        _mm_prefetch(reinterpret_cast<const char*>(address + i), _MM_HINT_T1);
}

inline ptrdiff_t Distance(const unsigned char* from, const unsigned char* to)
{
    return static_cast<ptrdiff_t>(reinterpret_cast<uintptr_t>(to) - reinterpret_cast<uintptr_t>(from));
}

// ---- words and bytes ----

// The bytes a and b, or the words, in each pair of them.
inline Vec BytePairs(int a, int b)
{
    return MM(set1_epi16)(static_cast<short>(static_cast<uint16_t>(b << 8 | (a & 0xFF))));
}

inline Vec WordPairs(int a, int b)
{
    return MM(set1_epi32)(static_cast<int>(static_cast<uint32_t>(b) << 16 | static_cast<uint16_t>(a)));
}

inline Vec Plus(Vec words, int term)
{
    return MM(add_epi16)(words, MM(set1_epi16)(static_cast<short>(term)));
}

// ---- lanes ----

inline Vec InLanes(__m128i first, [[maybe_unused]] __m128i second)
{
#ifdef __AVX2__
    return _mm256_inserti128_si256(_mm256_castsi128_si256(first), second, 1);
#else
    return first;
#endif
}

// Lane i from p + i * distance.
inline Vec LoadApart(const unsigned char* p, [[maybe_unused]] int distance)
{
#ifdef __AVX2__
    return InLanes(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)),
                   _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + distance)));
#else
    return Load(p);
#endif
}

// Between the order of the memory and quadruples of bytes by turns.
inline Vec ToTurns(Vec a)
{
#ifdef __AVX2__
    return _mm256_permutevar8x32_epi32(a, _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7));
#else
    return a;
#endif
}

inline Vec FromTurns(Vec a)
{
#ifdef __AVX2__
    return _mm256_permutevar8x32_epi32(a, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
#else
    return a;
#endif
}

// U and V by turns, 8 samples of each for each lane.
inline Vec LoadChroma(const unsigned char* u, const unsigned char* v)
{
#ifdef __AVX2__
    const __m256i u16 = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(u)));
    const __m256i v16 = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(v)));
    return Or(u16, _mm256_slli_epi16(v16, 8));
#else
    return _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(u)),
                             _mm_loadl_epi64(reinterpret_cast<const __m128i*>(v)));
#endif
}

} // namespace

#endif // ENCMGR_COLOUR_VECTOR_H
