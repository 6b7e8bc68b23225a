// AVX2: four output positions at a time. Unless the rate falls to less than half, their neighbours lie in one window of
// eight samples or pairs, from which a shuffle takes them.
#include "Common/Audio/x86/ResampleRowsVector.h"

#include <cstring>

namespace
{

constexpr int kWindow = 8;

// Four positions' first samples or pairs. Eight from the first one on are there, and all that count are among them.
bool FitsWindow(const int32_t* whole, int available)
{
    return whole[3] - whole[0] <= kWindow - 2 && whole[0] <= available - kWindow;
}

// The distance of each position from the first one.
__m128i FromFirst(const int32_t* whole)
{
    return _mm_sub_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(whole)), _mm_set1_epi32(whole[0]));
}

// The part of four rises that lies before the position, toward zero.
__m128i PartOf(__m128i rise, __m256d fraction)
{
    return _mm256_cvttpd_epi32(_mm256_mul_pd(_mm256_cvtepi32_pd(rise), fraction));
}

// ---- mono ----

int32_t LoadTwo(const int16_t* p)
{
    int32_t bits = 0;
    std::memcpy(&bits, p, sizeof(bits));
    return bits;
}

// Each position's two neighbours. Samples are numbered from the history's last one; so many are available in all.
__m128i PairsOfMono(const int16_t* samples, const int32_t* whole, int available)
{
    if (FitsWindow(whole, available)) {
        const __m128i inEachByte = _mm_setr_epi8(0, 0, 0, 0, 4, 4, 4, 4, 8, 8, 8, 8, 12, 12, 12, 12);
        const __m128i distance = _mm_shuffle_epi8(FromFirst(whole), inEachByte);
        const __m128i bytes = _mm_add_epi8(_mm_add_epi8(distance, distance), _mm_set1_epi32(0x03020100));
        return _mm_shuffle_epi8(LoadEight(samples + whole[0]), bytes);
    }
    return _mm_setr_epi32(LoadTwo(samples + whole[0]), LoadTwo(samples + whole[1]), LoadTwo(samples + whole[2]),
                          LoadTwo(samples + whole[3]));
}

void ResampleMonoAvx2(const ResampleBlock& block, int first)
{
    const int16_t* samples = block.work - 1;
    const int available = 1 + block.n + kLookahead;
    const auto interpolate = [&](const PositionRun& run, int k, ptrdiff_t i) {
        const __m128i pairs = PairsOfMono(samples, run.whole + k, available);
        const __m128i part = PartOf(Rise(pairs), _mm256_loadu_pd(run.fraction + k));
        const __m128i values = _mm_add_epi32(FirstOf(pairs), part);
        const __m128i held = _mm_max_epi16(_mm_packs_epi32(values, values), _mm_set1_epi16(-32767));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(block.out + i), held);
    };
    ResampleMono(block, WalkInRuns(block, first, block.nOut, interpolate));
}

// ---- stereo ----

struct Neighbours {
    __m128i left; // pairs of four positions
    __m128i right;
};

// Two neighbouring pairs, 8 bytes.
__m128d LoadNeighbours(const int16_t* pairs, int index)
{
    return _mm_castsi128_pd(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(pairs + 2 * ptrdiff_t{index})));
}

// Pairs are numbered from the history on; so many are available in all.
Neighbours NeighboursOfStereo(const int16_t* pairs, const int32_t* whole, int available)
{
    if (FitsWindow(whole, available)) {
        const __m256i ahead = _mm256_setr_epi32(0, 0, 0, 0, 1, 1, 1, 1);
        const __m256i places = _mm256_add_epi32(_mm256_broadcastsi128_si256(FromFirst(whole)), ahead);
        const __m256i both = _mm256_permutevar8x32_epi32(Load(pairs + 2 * ptrdiff_t{whole[0]}), places);
        return {_mm256_castsi256_si128(both), _mm256_extracti128_si256(both, 1)};
    }
    const __m128 low = _mm_castpd_ps(_mm_unpacklo_pd(LoadNeighbours(pairs, whole[0]), LoadNeighbours(pairs, whole[1])));
    const __m128 high =
        _mm_castpd_ps(_mm_unpacklo_pd(LoadNeighbours(pairs, whole[2]), LoadNeighbours(pairs, whole[3])));
    return {_mm_castps_si128(_mm_shuffle_ps(low, high, _MM_SHUFFLE(2, 0, 2, 0))),
            _mm_castps_si128(_mm_shuffle_ps(low, high, _MM_SHUFFLE(3, 1, 3, 1)))};
}

// Of two positions, once for each channel.
__m256d LoadForChannels(const double* fraction)
{
    return _mm256_permute_pd(_mm256_broadcast_pd(reinterpret_cast<const __m128d*>(fraction)), 0b1100);
}

void ResampleStereoAvx2(const ResampleBlock& block, int first)
{
    const int16_t* pairs = block.work - 2;
    const int available = 1 + block.n / 2 + kLookahead / 2;
    const __m128i lowWord = _mm_set1_epi32(0xFFFF);
    const auto interpolate = [&](const PositionRun& run, int k, ptrdiff_t i) {
        const auto [left, right] = NeighboursOfStereo(pairs, run.whole + k, available);
        const __m128i part1 = PartOf(Rise(_mm_unpacklo_epi16(left, right)), LoadForChannels(run.fraction + k));
        const __m128i part2 = PartOf(Rise(_mm_unpackhi_epi16(left, right)), LoadForChannels(run.fraction + k + 2));
        // A part needs 17 bits, but the sum fits: its low words are enough.
        const __m128i parts = _mm_packus_epi32(_mm_and_si128(part1, lowWord), _mm_and_si128(part2, lowWord));
        StoreEight(block.out + 2 * i, _mm_add_epi16(left, parts));
    };
    ResampleStereo(block, WalkInRuns(block, first, block.nOut / 2, interpolate));
}

} // namespace

void OverwriteResampleAvx2(ResampleTable& table)
{
    table = {ResampleMonoAvx2, ResampleStereoAvx2, MonoToStereoVector, StereoToMonoVector};
}
