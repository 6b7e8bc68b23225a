// What both vector forms of the audio row functions share, compiled for the including file's instruction set: the
// positions of output samples, and the channel steps.
#ifndef ENCMGR_RESAMPLE_ROWS_VECTOR_H
#define ENCMGR_RESAMPLE_ROWS_VECTOR_H

#include "Common/Audio/ResampleRows.h"
#include "Common/x86/Vector.h"

namespace
{

#ifdef __AVX2__
using Doubles = __m256d;
#else
using Doubles = __m128d;
#endif

constexpr int kPositions = sizeof(Doubles) / sizeof(double); // worked on at a time

inline Doubles CountUpFrom(double first)
{
#ifdef __AVX2__
    return _mm256_add_pd(_mm256_set1_pd(first), _mm256_setr_pd(0, 1, 2, 3));
#else
    return _mm_add_pd(_mm_set1_pd(first), _mm_setr_pd(0, 1));
#endif
}

inline void StoreWhole(int32_t* p, Doubles whole)
{
#ifdef __AVX2__
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm256_cvttpd_epi32(whole));
#else
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_cvttpd_epi32(whole));
#endif
}

// A run of output positions. They are found apart from the interpolation: in one loop the quotients, which take long,
// would hold up all that follows them.
struct PositionRun {
    static constexpr int kLongest = 64;

    int32_t whole[kLongest];   // index of the sample or pair at or before the position, where the history is number 0
    double fraction[kLongest]; // of the way to the next

    // count: a multiple of kPositions. The operations on doubles and their order are those of the plain forms, rounding
    // included, so that the fractions are theirs to the last bit.
    void Find(const ResampleBlock& block, int first, int count)
    {
        const Doubles one = MM(set1_pd)(1.0), n = MM(set1_pd)(block.n), nOut = MM(set1_pd)(block.nOut);
        Doubles number = CountUpFrom(first + 1.0);
        for (int i = 0; i < count; i += kPositions) {
            const Doubles pos = MM(sub_pd)(MM(div_pd)(MM(mul_pd)(number, n), nOut), one);
            const Doubles wholes = MM(round_pd)(MM(add_pd)(pos, one), _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
            StoreWhole(whole + i, wholes);
            MM(storeu_pd)(fraction + i, MM(sub_pd)(pos, MM(sub_pd)(wholes, one)));
            number = MM(add_pd)(number, MM(set1_pd)(kPositions));
        }
    }
};

// interpolate(run, k, i) makes kPositions output positions, from i on, out of the run's k-th and following. Returns the
// first of all that is left for the plain form.
template <class Interpolate> int WalkInRuns(const ResampleBlock& block, int first, int end, Interpolate interpolate)
{
    PositionRun run;
    while (first <= end - kPositions) {
        const int left = (end - first) / kPositions * kPositions;
        const int count = left < PositionRun::kLongest ? left : PositionRun::kLongest;
        run.Find(block, first, count);
        for (int k = 0; k < count; k += kPositions)
            interpolate(run, k, ptrdiff_t{first} + k);
        first += count;
    }
    return first;
}

// Of pairs (a, b) of samples: b - a, which needs 17 bits.
inline __m128i Rise(__m128i pairs)
{
    return _mm_madd_epi16(pairs, _mm_set1_epi32(0x0001FFFF));
}

// Of pairs (a, b) of samples: a.
inline __m128i FirstOf(__m128i pairs)
{
    return _mm_srai_epi32(_mm_slli_epi32(pairs, 16), 16);
}

inline __m128i LoadEight(const int16_t* p)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

inline void StoreEight(int16_t* p, __m128i samples)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), samples);
}

void MonoToStereoVector(const int16_t* src, int16_t* dst, int count)
{
    ptrdiff_t i = 0;
    for (; i <= count - 8; i += 8) {
        const __m128i samples = LoadEight(src + i);
        StoreEight(dst + 2 * i, _mm_unpacklo_epi16(samples, samples));
        StoreEight(dst + 2 * i + 8, _mm_unpackhi_epi16(samples, samples));
    }
    MonoToStereo(src + i, dst + 2 * i, static_cast<int>(count - i));
}

// Sums of four pairs. A half is rounded down after the sign bit has been added: toward zero.
inline __m128i SumOfHalves(__m128i pairs)
{
    const __m128i halves = _mm_srai_epi16(_mm_sub_epi16(pairs, _mm_srai_epi16(pairs, 15)), 1);
    return _mm_madd_epi16(halves, _mm_set1_epi16(1));
}

void StereoToMonoVector(const int16_t* src, int16_t* dst, int count)
{
    ptrdiff_t i = 0;
    for (; i <= count - 8; i += 8) {
        const __m128i first = SumOfHalves(LoadEight(src + 2 * i));
        const __m128i second = SumOfHalves(LoadEight(src + 2 * i + 8));
        StoreEight(dst + i, _mm_packs_epi32(first, second));
    }
    StereoToMono(src + 2 * i, dst + i, static_cast<int>(count - i));
}

} // namespace

#endif // ENCMGR_RESAMPLE_ROWS_VECTOR_H
