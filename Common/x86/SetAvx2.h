// AVX2: vectors of two lanes of 16 bytes. What each primitive does, and what a set must define, stands with SSE4.1.
//
// Diagrams show a vector from its first byte on, with a bar between the lanes.
#ifndef ENCMGR_SET_AVX2_H
#define ENCMGR_SET_AVX2_H

#include "Common/x86/SetSse41.h"

#include <immintrin.h>

namespace
{

struct Avx2 {
    using Vec = __m256i;
    using Lane = Sse41;
    static constexpr int kBytes = 32;
    static constexpr int kLanes = 2;

    // ---- memory ----
    static Vec Load(const void* p) { return _mm256_loadu_si256(static_cast<const Vec*>(p)); }
    static void Store(void* p, Vec a) { _mm256_storeu_si256(static_cast<Vec*>(p), a); }
    static void StoreFirst(unsigned char* p, Vec a, ptrdiff_t bytes)
    {
        __m128i part = _mm256_castsi256_si128(a);
        if (bytes & 16) {
            Lane::Store(p, part);
            part = _mm256_extracti128_si256(a, 1);
            p += 16;
        }
        Lane::StoreFirst(p, part, bytes);
    }
    static Vec LoadWidened8To32(const unsigned char* p)
    {
        return _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
    }

    // ---- the same in every element ----
    static Vec Zero() { return _mm256_setzero_si256(); }
    static Vec Broadcast8(int value) { return _mm256_set1_epi8(static_cast<char>(value)); }
    static Vec Broadcast16(int value) { return _mm256_set1_epi16(static_cast<short>(value)); }
    static Vec Broadcast32(int value) { return _mm256_set1_epi32(value); }
    static Vec Broadcast64(int64_t value) { return _mm256_set1_epi64x(value); }

    // ---- bits ----
    static Vec And(Vec a, Vec b) { return _mm256_and_si256(a, b); }
    static Vec Or(Vec a, Vec b) { return _mm256_or_si256(a, b); }
    static Vec Xor(Vec a, Vec b) { return _mm256_xor_si256(a, b); }
    static Vec AndNot(Vec a, Vec b) { return _mm256_andnot_si256(a, b); }
    static Vec Select(Vec mask, Vec a, Vec b) { return _mm256_blendv_epi8(b, a, mask); }
    static bool IsZero(Vec a) { return _mm256_testz_si256(a, a); }

    // ---- arithmetic ----
    static Vec Add8(Vec a, Vec b) { return _mm256_add_epi8(a, b); }
    static Vec Sub8(Vec a, Vec b) { return _mm256_sub_epi8(a, b); }
    static Vec Average8U(Vec a, Vec b) { return _mm256_avg_epu8(a, b); }
    static Vec Add16(Vec a, Vec b) { return _mm256_add_epi16(a, b); }
    static Vec Sub16(Vec a, Vec b) { return _mm256_sub_epi16(a, b); }
    static Vec AddSaturated16(Vec a, Vec b) { return _mm256_adds_epi16(a, b); }
    static Vec SubSaturated16U(Vec a, Vec b) { return _mm256_subs_epu16(a, b); }
    static Vec Max16U(Vec a, Vec b) { return _mm256_max_epu16(a, b); }
    static Vec Mul16(Vec a, Vec b) { return _mm256_mullo_epi16(a, b); }
    static Vec MulHigh16(Vec a, Vec b) { return _mm256_mulhi_epi16(a, b); }
    static Vec MulHigh16U(Vec a, Vec b) { return _mm256_mulhi_epu16(a, b); }
    static Vec Add32(Vec a, Vec b) { return _mm256_add_epi32(a, b); }
    static Vec MulAddPairs8(Vec a, Vec b) { return _mm256_maddubs_epi16(a, b); }
    static Vec MulAddPairs16(Vec a, Vec b) { return _mm256_madd_epi16(a, b); }

    static Vec ShiftLeft16(Vec a, int bits) { return _mm256_slli_epi16(a, bits); }
    static Vec ShiftRight16(Vec a, int bits) { return _mm256_srai_epi16(a, bits); }
    static Vec ShiftRight16U(Vec a, int bits) { return _mm256_srli_epi16(a, bits); }
    static Vec ShiftLeft32(Vec a, int bits) { return _mm256_slli_epi32(a, bits); }
    static Vec ShiftRight32(Vec a, int bits) { return _mm256_srai_epi32(a, bits); }
    static Vec ShiftRight32U(Vec a, int bits) { return _mm256_srli_epi32(a, bits); }

    static Vec Equal16(Vec a, Vec b) { return _mm256_cmpeq_epi16(a, b); }
    static Vec Equal32(Vec a, Vec b) { return _mm256_cmpeq_epi32(a, b); }

    // ---- within lanes ----
    static Vec Shuffle8(Vec a, Vec places) { return _mm256_shuffle_epi8(a, places); }
    static Vec InterleaveLow8(Vec a, Vec b) { return _mm256_unpacklo_epi8(a, b); }
    static Vec InterleaveHigh8(Vec a, Vec b) { return _mm256_unpackhi_epi8(a, b); }
    static Vec InterleaveLow16(Vec a, Vec b) { return _mm256_unpacklo_epi16(a, b); }
    static Vec InterleaveHigh16(Vec a, Vec b) { return _mm256_unpackhi_epi16(a, b); }
    static Vec InterleaveLow64(Vec a, Vec b) { return _mm256_unpacklo_epi64(a, b); }
    static Vec InterleaveHigh64(Vec a, Vec b) { return _mm256_unpackhi_epi64(a, b); }
    template <int which> static Vec Blend16(Vec a, Vec b) { return _mm256_blend_epi16(a, b, which); }
    static Vec Pack16(Vec a, Vec b) { return _mm256_packs_epi16(a, b); }
    static Vec Pack16U(Vec a, Vec b) { return _mm256_packus_epi16(a, b); }
    static Vec Pack32(Vec a, Vec b) { return _mm256_packs_epi32(a, b); }
    static Vec Pack32U(Vec a, Vec b) { return _mm256_packus_epi32(a, b); }

    // ---- across lanes ----
    static Vec BroadcastLane(const void* p) { return _mm256_broadcastsi128_si256(Lane::Load(p)); }
    template <class AddressOf> static Vec LoadLanes(AddressOf addressOf)
    {
        return _mm256_inserti128_si256(_mm256_castsi128_si256(Lane::Load(addressOf(0))), Lane::Load(addressOf(1)), 1);
    }
    // 0 1 2 3 | 4 5 6 7  to  0 2 4 6 | 1 3 5 7
    static Vec Interleave4(Vec a) { return _mm256_permutevar8x32_epi32(a, _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7)); }
    // 0 2 4 6 | 1 3 5 7  to  0 1 2 3 | 4 5 6 7
    static Vec Deinterleave4(Vec a)
    {
        return _mm256_permutevar8x32_epi32(a, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
    }
    // 0 1 | 2 3  to  0 2 | 1 3, and back: with two lanes that is the same exchange.
    static Vec Interleave8(Vec a) { return _mm256_permute4x64_epi64(a, _MM_SHUFFLE(3, 1, 2, 0)); }
    static Vec Deinterleave8(Vec a) { return Interleave8(a); }
    // 0 2 4 6 | 1 3 5 7  to  0 1 4 5 | 2 3 6 7
    static Vec Interleave4To8(Vec a)
    {
        return _mm256_permutevar8x32_epi32(a, _mm256_setr_epi32(0, 4, 2, 6, 1, 5, 3, 7));
    }
    // a0 | a1 and n0 | n1  to  a1 | n0, each lane's successor, of which each lane takes a byte at its end
    static Vec SkipByte(Vec a, Vec after)
    {
        return _mm256_alignr_epi8(_mm256_permute2x128_si256(a, after, 0x21), a, 1);
    }
    static Vec LoadInterleaved8(const unsigned char* u, const unsigned char* v)
    {
        return Or(_mm256_cvtepu8_epi16(Lane::Load(u)), ShiftLeft16(_mm256_cvtepu8_epi16(Lane::Load(v)), 8));
    }
    // l0 l2 l4 l6 h0 h2 h4 h6 | l1 l3 l5 l7 h1 h3 h5 h7  to  l0 l1 l2 ... l7 and h0 h1 h2 ... h7
    static void StoreHalvesDeinterleaved2(unsigned char* low, unsigned char* high, Vec a)
    {
        const __m128i first = _mm256_castsi256_si128(a), second = _mm256_extracti128_si256(a, 1);
        Lane::Store(low, _mm_unpacklo_epi16(first, second));
        Lane::Store(high, _mm_unpackhi_epi16(first, second));
    }
    // a0 | a1, b0 | b1 and c0 | c1  to  a0 | b0, c0 | a1 and b1 | c1
    static void StoreLaneTriples(unsigned char* p, Vec a, Vec b, Vec c)
    {
        Store(p, _mm256_permute2x128_si256(a, b, 0x20));
        Store(p + 32, _mm256_blend_epi32(c, a, 0xF0));
        Store(p + 64, _mm256_permute2x128_si256(b, c, 0x31));
    }

    // ---- doubles ----
    using Doubles = __m256d;
    static constexpr int kDoubles = 4;
    static Doubles LoadDoubles(const double* p) { return _mm256_loadu_pd(p); }
    static void StoreDoubles(double* p, Doubles a) { _mm256_storeu_pd(p, a); }
    static Doubles BroadcastDouble(double value) { return _mm256_set1_pd(value); }
    static Doubles CountUpFrom(double first)
    {
        return _mm256_add_pd(_mm256_set1_pd(first), _mm256_setr_pd(0, 1, 2, 3));
    }
    static Doubles AddDoubles(Doubles a, Doubles b) { return _mm256_add_pd(a, b); }
    static Doubles SubDoubles(Doubles a, Doubles b) { return _mm256_sub_pd(a, b); }
    static Doubles MulDoubles(Doubles a, Doubles b) { return _mm256_mul_pd(a, b); }
    static Doubles DivDoubles(Doubles a, Doubles b) { return _mm256_div_pd(a, b); }
    static Doubles Truncate(Doubles a) { return _mm256_round_pd(a, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC); }
    static Doubles FromInt32(Lane::Vec a) { return _mm256_cvtepi32_pd(a); }
    static Lane::Vec ToInt32(Doubles a) { return _mm256_cvttpd_epi32(a); }
    // 0 1  to  0 0 | 1 1
    static Doubles LoadTwice(const double* p)
    {
        return _mm256_permute_pd(_mm256_broadcast_pd(reinterpret_cast<const __m128d*>(p)), 0b1100);
    }

    // ---- what only sets of 4 doubles define ----
    // Of 8 double words from p on: element i of `these` is number places[i], that of `next` the one after it.
    static void LookUpTwo32(const void* p, Lane::Vec places, Lane::Vec& these, Lane::Vec& next)
    {
        const Vec both =
            _mm256_add_epi32(_mm256_broadcastsi128_si256(places), _mm256_setr_epi32(0, 0, 0, 0, 1, 1, 1, 1));
        const Vec found = _mm256_permutevar8x32_epi32(Load(p), both);
        these = _mm256_castsi256_si128(found);
        next = _mm256_extracti128_si256(found, 1);
    }
};

} // namespace

#endif // ENCMGR_SET_AVX2_H
