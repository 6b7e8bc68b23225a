// Vectors of the instruction set for which the including file is compiled: AVX2 or SSE4.1. Sources for both write
// MM(add_epi16)(a, b) for _mm256_add_epi16 or _mm_add_epi16. A vector holds one or two lanes of 16 bytes, and what
// crosses bytes stays within its lane in both.
//
// All here has internal linkage, and so must all that an including file uses: an inline function of a better set that
// the linker takes for the whole program would end it on a lesser processor.
#ifndef ENCMGR_VECTOR_H
#define ENCMGR_VECTOR_H

#include <cstddef>
#include <cstdint>
#include <immintrin.h>

#ifdef __AVX2__
#define MM(operation) _mm256_##operation
#else
#define MM(operation) _mm_##operation
#endif

namespace
{

#ifdef __AVX2__
using Vec = __m256i;
#else
using Vec = __m128i;
#endif

constexpr int kVecBytes = sizeof(Vec);
constexpr int kLanes = kVecBytes / 16;

// ---- what has the vector's width in its name ----

inline Vec Load(const void* p)
{
#ifdef __AVX2__
    return _mm256_loadu_si256(static_cast<const Vec*>(p));
#else
    return _mm_loadu_si128(static_cast<const Vec*>(p));
#endif
}

inline void Store(void* p, Vec a)
{
#ifdef __AVX2__
    _mm256_storeu_si256(static_cast<Vec*>(p), a);
#else
    _mm_storeu_si128(static_cast<Vec*>(p), a);
#endif
}

inline Vec And(Vec a, Vec b)
{
#ifdef __AVX2__
    return _mm256_and_si256(a, b);
#else
    return _mm_and_si128(a, b);
#endif
}

inline Vec Or(Vec a, Vec b)
{
#ifdef __AVX2__
    return _mm256_or_si256(a, b);
#else
    return _mm_or_si128(a, b);
#endif
}

inline Vec Xor(Vec a, Vec b)
{
#ifdef __AVX2__
    return _mm256_xor_si256(a, b);
#else
    return _mm_xor_si128(a, b);
#endif
}

// b without the bits of a.
inline Vec AndNot(Vec a, Vec b)
{
#ifdef __AVX2__
    return _mm256_andnot_si256(a, b);
#else
    return _mm_andnot_si128(a, b);
#endif
}

// Asks for the cache line `ahead` bytes behind p, which need not exist.
inline void FetchAhead(const unsigned char* p, ptrdiff_t ahead)
{
    _mm_prefetch(reinterpret_cast<const char*>(reinterpret_cast<uintptr_t>(p) + static_cast<uintptr_t>(ahead)),
                 _MM_HINT_T0);
}

// ---- lanes ----

// The same 16 bytes in every lane.
inline Vec InEachLane(__m128i lane)
{
#ifdef __AVX2__
    return _mm256_broadcastsi128_si256(lane);
#else
    return lane;
#endif
}

inline Vec LoadInEachLane(const void* p)
{
    return InEachLane(_mm_loadu_si128(static_cast<const __m128i*>(p)));
}

// Between the order of the memory and groups of 8 bytes by turns.
inline Vec SwapMiddle(Vec a)
{
#ifdef __AVX2__
    return _mm256_permute4x64_epi64(a, 0xD8);
#else
    return a;
#endif
}

// Lane i from base + offsets[i].
inline Vec LoadLanes(const unsigned char* base, const int32_t* offsets)
{
    const __m128i first = _mm_loadu_si128(reinterpret_cast<const __m128i*>(base + offsets[0]));
#ifdef __AVX2__
    return _mm256_inserti128_si256(_mm256_castsi128_si256(first),
                                   _mm_loadu_si128(reinterpret_cast<const __m128i*>(base + offsets[1])), 1);
#else
    return first;
#endif
}

} // namespace

#endif // ENCMGR_VECTOR_H
