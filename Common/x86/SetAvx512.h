// AVX-512 with its byte, quad word, length and byte permutation parts: vectors of four lanes of 16 bytes. What each
// primitive does, and what a set must define, stands with SSE4.1.
#ifndef ENCMGR_SET_AVX512_H
#define ENCMGR_SET_AVX512_H

#include "Common/x86/SetAvx2.h"

#include <immintrin.h>

namespace
{

// Doubles, and what goes with them, are AVX2's.
struct Avx512 : Avx2 {
    using Vec = __m512i;
    static constexpr int kBytes = 64;
    static constexpr int kLanes = 4;

    // ---- memory ----
    static Vec Load(const void* p) { return _mm512_loadu_si512(p); }
    static void Store(void* p, Vec a) { _mm512_storeu_si512(p, a); }
    static void StoreFirst(unsigned char* p, Vec a, ptrdiff_t bytes) { _mm512_mask_storeu_epi8(p, First(bytes), a); }
    // The first 0 to kBytes - 1 bytes, the others 0. Nothing else is read.
    static Vec LoadFirst(const unsigned char* p, ptrdiff_t bytes) { return _mm512_maskz_loadu_epi8(First(bytes), p); }
    static Vec LoadWidened8To32(const unsigned char* p) { return _mm512_cvtepu8_epi32(Lane::Load(p)); }

    // ---- the same in every element ----
    static Vec Zero() { return _mm512_setzero_si512(); }
    static Vec Broadcast8(int value) { return _mm512_set1_epi8(static_cast<char>(value)); }
    static Vec Broadcast16(int value) { return _mm512_set1_epi16(static_cast<short>(value)); }
    static Vec Broadcast32(int value) { return _mm512_set1_epi32(value); }
    static Vec Broadcast64(int64_t value) { return _mm512_set1_epi64(value); }

    // ---- bits ----
    static Vec And(Vec a, Vec b) { return _mm512_and_si512(a, b); }
    static Vec Or(Vec a, Vec b) { return _mm512_or_si512(a, b); }
    static Vec Xor(Vec a, Vec b) { return _mm512_xor_si512(a, b); }
    static Vec AndNot(Vec a, Vec b) { return _mm512_andnot_si512(a, b); }
    static Vec Select(Vec mask, Vec a, Vec b) { return _mm512_ternarylogic_epi32(mask, a, b, 0xCA); }
    static bool IsZero(Vec a) { return _mm512_test_epi32_mask(a, a) == 0; }

    // ---- arithmetic ----
    static Vec Add8(Vec a, Vec b) { return _mm512_add_epi8(a, b); }
    static Vec Sub8(Vec a, Vec b) { return _mm512_sub_epi8(a, b); }
    static Vec Average8U(Vec a, Vec b) { return _mm512_avg_epu8(a, b); }
    static Vec Add16(Vec a, Vec b) { return _mm512_add_epi16(a, b); }
    static Vec Sub16(Vec a, Vec b) { return _mm512_sub_epi16(a, b); }
    static Vec AddSaturated16(Vec a, Vec b) { return _mm512_adds_epi16(a, b); }
    static Vec SubSaturated16U(Vec a, Vec b) { return _mm512_subs_epu16(a, b); }
    static Vec Max16U(Vec a, Vec b) { return _mm512_max_epu16(a, b); }
    static Vec Mul16(Vec a, Vec b) { return _mm512_mullo_epi16(a, b); }
    static Vec MulHigh16(Vec a, Vec b) { return _mm512_mulhi_epi16(a, b); }
    static Vec MulHigh16U(Vec a, Vec b) { return _mm512_mulhi_epu16(a, b); }
    static Vec Add32(Vec a, Vec b) { return _mm512_add_epi32(a, b); }
    static Vec MulAddPairs8(Vec a, Vec b) { return _mm512_maddubs_epi16(a, b); }
    static Vec MulAddPairs16(Vec a, Vec b) { return _mm512_madd_epi16(a, b); }

    static Vec ShiftLeft16(Vec a, int bits) { return _mm512_slli_epi16(a, static_cast<unsigned>(bits)); }
    static Vec ShiftRight16(Vec a, int bits) { return _mm512_srai_epi16(a, static_cast<unsigned>(bits)); }
    static Vec ShiftRight16U(Vec a, int bits) { return _mm512_srli_epi16(a, static_cast<unsigned>(bits)); }
    static Vec ShiftLeft32(Vec a, int bits) { return _mm512_slli_epi32(a, static_cast<unsigned>(bits)); }
    static Vec ShiftRight32(Vec a, int bits) { return _mm512_srai_epi32(a, static_cast<unsigned>(bits)); }
    static Vec ShiftRight32U(Vec a, int bits) { return _mm512_srli_epi32(a, static_cast<unsigned>(bits)); }

    static Vec Equal16(Vec a, Vec b) { return _mm512_movm_epi16(_mm512_cmpeq_epi16_mask(a, b)); }
    static Vec Equal32(Vec a, Vec b) { return _mm512_movm_epi32(_mm512_cmpeq_epi32_mask(a, b)); }

    // ---- within lanes ----
    static Vec Shuffle8(Vec a, Vec places) { return _mm512_shuffle_epi8(a, places); }
    static Vec InterleaveLow8(Vec a, Vec b) { return _mm512_unpacklo_epi8(a, b); }
    static Vec InterleaveHigh8(Vec a, Vec b) { return _mm512_unpackhi_epi8(a, b); }
    static Vec InterleaveLow16(Vec a, Vec b) { return _mm512_unpacklo_epi16(a, b); }
    static Vec InterleaveHigh16(Vec a, Vec b) { return _mm512_unpackhi_epi16(a, b); }
    static Vec InterleaveLow64(Vec a, Vec b) { return _mm512_unpacklo_epi64(a, b); }
    static Vec InterleaveHigh64(Vec a, Vec b) { return _mm512_unpackhi_epi64(a, b); }
    template <int which> static Vec Blend16(Vec a, Vec b) { return _mm512_mask_blend_epi16(which * 0x01010101U, a, b); }
    static Vec Pack16(Vec a, Vec b) { return _mm512_packs_epi16(a, b); }
    static Vec Pack16U(Vec a, Vec b) { return _mm512_packus_epi16(a, b); }
    static Vec Pack32(Vec a, Vec b) { return _mm512_packs_epi32(a, b); }
    static Vec Pack32U(Vec a, Vec b) { return _mm512_packus_epi32(a, b); }

    // ---- across lanes ----
    static Vec BroadcastLane(const void* p) { return _mm512_broadcast_i32x4(Lane::Load(p)); }
    template <class AddressOf> static Vec LoadLanes(AddressOf addressOf)
    {
        const __m256i low = Avx2::LoadLanes(addressOf);
        const __m256i high = Avx2::LoadLanes([=](int lane) { return addressOf(lane + 2); });
        return _mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1);
    }
    // With four lanes the pieces make a square, and the exchange is its own reverse.
    static Vec Interleave4(Vec a)
    {
        return _mm512_permutexvar_epi32(_mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15), a);
    }
    static Vec Deinterleave4(Vec a) { return Interleave4(a); }
    static Vec Interleave8(Vec a) { return _mm512_permutexvar_epi64(_mm512_setr_epi64(0, 4, 1, 5, 2, 6, 3, 7), a); }
    static Vec Deinterleave8(Vec a) { return _mm512_permutexvar_epi64(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7), a); }
    static Vec Interleave4To8(Vec a)
    {
        return _mm512_permutexvar_epi32(_mm512_setr_epi32(0, 4, 2, 6, 8, 12, 10, 14, 1, 5, 3, 7, 9, 13, 11, 15), a);
    }
    static Vec SkipByte(Vec a, Vec after) { return _mm512_alignr_epi8(_mm512_alignr_epi64(after, a, 2), a, 1); }
    static Vec LoadInterleaved8(const unsigned char* u, const unsigned char* v)
    {
        return Or(_mm512_cvtepu8_epi16(Avx2::Load(u)), ShiftLeft16(_mm512_cvtepu8_epi16(Avx2::Load(v)), 8));
    }
    static void StoreHalvesDeinterleaved2(unsigned char* low, unsigned char* high, Vec a)
    {
        static constexpr int16_t words[32] = {0, 8,  16, 24, 1, 9,  17, 25, 2, 10, 18, 26, 3, 11, 19, 27,
                                              4, 12, 20, 28, 5, 13, 21, 29, 6, 14, 22, 30, 7, 15, 23, 31};
        const Vec halves = _mm512_permutexvar_epi16(Load(words), a);
        Avx2::Store(low, _mm512_castsi512_si256(halves));
        Avx2::Store(high, _mm512_extracti64x4_epi64(halves, 1));
    }
    static void StoreLaneTriples(unsigned char* p, Vec a, Vec b, Vec c)
    {
        // a0 b0 . a1, b1 . a2 b2, . a3 b3 .  and what c has between
        const Vec first = _mm512_permutex2var_epi64(a, _mm512_setr_epi64(0, 1, 8, 9, 0, 0, 2, 3), b);
        const Vec second = _mm512_permutex2var_epi64(a, _mm512_setr_epi64(10, 11, 0, 0, 4, 5, 12, 13), b);
        const Vec third = _mm512_permutex2var_epi64(a, _mm512_setr_epi64(0, 0, 6, 7, 14, 15, 0, 0), b);
        Store(p, _mm512_mask_permutexvar_epi64(first, 0x30, _mm512_setr_epi64(0, 0, 0, 0, 0, 1, 0, 0), c));
        Store(p + 64, _mm512_mask_permutexvar_epi64(second, 0x0C, _mm512_setr_epi64(0, 0, 2, 3, 0, 0, 0, 0), c));
        Store(p + 128, _mm512_mask_permutexvar_epi64(third, 0xC3, _mm512_setr_epi64(4, 5, 0, 0, 0, 0, 6, 7), c));
    }

    // ---- what only sets with byte permutations define ----
    // Byte i is byte places[i] of the vector, or of two as one. The places' higher bits don't count.
    static Vec Permute8(Vec places, Vec a) { return _mm512_permutexvar_epi8(places, a); }
    static Vec Permute8(Vec places, Vec a, Vec b) { return _mm512_permutex2var_epi8(a, places, b); }

private:
    static __mmask64 First(ptrdiff_t bytes) { return (uint64_t{1} << bytes) - 1; }
};

} // namespace

#endif // ENCMGR_SET_AVX512_H
