// SSE4.1: two output positions at a time.
#include "Common/Audio/x86/ResampleRowsVector.h"

#include <cstring>

namespace
{

// Two samples, 4 bytes.
__m128i LoadTwo(const int16_t* p)
{
    int32_t bits = 0;
    std::memcpy(&bits, p, sizeof(bits));
    return _mm_cvtsi32_si128(bits);
}

__m128i LoadFour(const int16_t* p)
{
    return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
}

// The part of two rises that lies before the position, toward zero.
__m128i PartOf(__m128i rise, __m128d fraction)
{
    return _mm_cvttpd_epi32(_mm_mul_pd(_mm_cvtepi32_pd(rise), fraction));
}

void ResampleMonoSse41(const ResampleBlock& block, int first)
{
    const int16_t* samples = block.work - 1;
    const auto interpolate = [&](const PositionRun& run, int k, ptrdiff_t i) {
        const __m128i pairs = _mm_unpacklo_epi32(LoadTwo(samples + run.whole[k]), LoadTwo(samples + run.whole[k + 1]));
        const __m128i part = PartOf(Rise(pairs), _mm_loadu_pd(run.fraction + k));
        const __m128i values = _mm_add_epi32(FirstOf(pairs), part);
        const __m128i held = _mm_max_epi16(_mm_packs_epi32(values, values), _mm_set1_epi16(-32767));
        const int32_t bits = _mm_cvtsi128_si32(held);
        std::memcpy(block.out + i, &bits, sizeof(bits));
    };
    ResampleMono(block, WalkInRuns(block, first, block.nOut, interpolate));
}

void ResampleStereoSse41(const ResampleBlock& block, int first)
{
    const __m128i sameChannel = _mm_setr_epi8(0, 1, 4, 5, 2, 3, 6, 7, 8, 9, 12, 13, 10, 11, 14, 15);
    const int16_t* samples = block.work - 2;
    const auto interpolate = [&](const PositionRun& run, int k, ptrdiff_t i) {
        const __m128i first4 = LoadFour(samples + 2 * ptrdiff_t{run.whole[k]});
        const __m128i second4 = LoadFour(samples + 2 * ptrdiff_t{run.whole[k + 1]});
        const __m128i pairs = _mm_shuffle_epi8(_mm_unpacklo_epi64(first4, second4), sameChannel);
        const __m128i rise = Rise(pairs);
        const __m128i part =
            _mm_unpacklo_epi64(PartOf(rise, _mm_loaddup_pd(run.fraction + k)),
                               PartOf(_mm_unpackhi_epi64(rise, rise), _mm_loaddup_pd(run.fraction + k + 1)));
        const __m128i values = _mm_add_epi32(FirstOf(pairs), part);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(block.out + 2 * i), _mm_packs_epi32(values, values));
    };
    ResampleStereo(block, WalkInRuns(block, first, block.nOut / 2, interpolate));
}

} // namespace

void OverwriteResampleSse41(ResampleTable& table)
{
    table = {ResampleMonoSse41, ResampleStereoSse41, MonoToStereoVector, StereoToMonoVector};
}
