// SSE4.1: vectors of one lane of 16 bytes, and what an instruction set must define for the vector forms.
//
// A form is a template over a set and holds all of the algorithm; the set holds every instruction. Vectors are one or
// more lanes of 16 bytes, lane 0 first in memory. What isn't listed under "across lanes" treats each lane alone. A new
// set defines all that stands here, whatever its instructions return: comparisons give 0 or -1 in each element, also
// where the processor has masks, and StoreFirst is where masks pay. Lane is a set of one lane, for what is prepared 16
// bytes at a time; a set of one lane is its own.
//
// Elements are unsigned where a name ends with U, else signed or either; the number is their bits. All here has
// internal linkage, and so must all that an including file uses: an inline function of a better set that the linker
// takes for the whole program would end it on a lesser processor.
#ifndef ENCMGR_SET_SSE41_H
#define ENCMGR_SET_SSE41_H

#include <cstddef>
#include <cstdint>
#include <smmintrin.h>

namespace
{

struct Sse41 {
    using Vec = __m128i;
    using Lane = Sse41;
    static constexpr int kBytes = 16;
    static constexpr int kLanes = 1;

    // ---- memory, of any alignment ----
    static Vec Load(const void* p) { return _mm_loadu_si128(static_cast<const Vec*>(p)); }
    static void Store(void* p, Vec a) { _mm_storeu_si128(static_cast<Vec*>(p), a); }
    // The first 0 to kBytes - 1 bytes.
    static void StoreFirst(unsigned char* p, Vec a, ptrdiff_t bytes)
    {
        for (int size = 8; size > 0; size /= 2)
            if (bytes & size) {
                __builtin_memcpy(p, &a, static_cast<size_t>(size));
                p += size;
                a = size == 8 ? _mm_srli_si128(a, 8) : size == 4 ? _mm_srli_si128(a, 4) : _mm_srli_si128(a, 2);
            }
    }
    // kBytes / 4 bytes, each as 32 bits.
    static Vec LoadWidened8To32(const unsigned char* p)
    {
        int32_t bytes = 0;
        __builtin_memcpy(&bytes, p, sizeof(bytes));
        return _mm_cvtepu8_epi32(_mm_cvtsi32_si128(bytes));
    }

    // ---- the same in every element ----
    static Vec Zero() { return _mm_setzero_si128(); }
    static Vec Broadcast8(int value) { return _mm_set1_epi8(static_cast<char>(value)); }
    static Vec Broadcast16(int value) { return _mm_set1_epi16(static_cast<short>(value)); }
    static Vec Broadcast32(int value) { return _mm_set1_epi32(value); }
    static Vec Broadcast64(int64_t value) { return _mm_set1_epi64x(value); }

    // ---- bits ----
    static Vec And(Vec a, Vec b) { return _mm_and_si128(a, b); }
    static Vec Or(Vec a, Vec b) { return _mm_or_si128(a, b); }
    static Vec Xor(Vec a, Vec b) { return _mm_xor_si128(a, b); }
    static Vec AndNot(Vec a, Vec b) { return _mm_andnot_si128(a, b); } // b without the bits of a
    // a where a byte of the mask is -1, b where it is 0.
    static Vec Select(Vec mask, Vec a, Vec b) { return _mm_blendv_epi8(b, a, mask); }
    static bool IsZero(Vec a) { return _mm_testz_si128(a, a); }

    // ---- arithmetic; sums wrap unless they saturate ----
    static Vec Add8(Vec a, Vec b) { return _mm_add_epi8(a, b); }
    static Vec Sub8(Vec a, Vec b) { return _mm_sub_epi8(a, b); }
    static Vec Average8U(Vec a, Vec b) { return _mm_avg_epu8(a, b); } // (a + b + 1) >> 1
    static Vec Add16(Vec a, Vec b) { return _mm_add_epi16(a, b); }
    static Vec Sub16(Vec a, Vec b) { return _mm_sub_epi16(a, b); }
    static Vec AddSaturated16(Vec a, Vec b) { return _mm_adds_epi16(a, b); }
    static Vec SubSaturated16U(Vec a, Vec b) { return _mm_subs_epu16(a, b); }
    static Vec Max16U(Vec a, Vec b) { return _mm_max_epu16(a, b); }
    static Vec Mul16(Vec a, Vec b) { return _mm_mullo_epi16(a, b); }     // low half of the product
    static Vec MulHigh16(Vec a, Vec b) { return _mm_mulhi_epi16(a, b); } // high half
    static Vec MulHigh16U(Vec a, Vec b) { return _mm_mulhi_epu16(a, b); }
    static Vec Add32(Vec a, Vec b) { return _mm_add_epi32(a, b); }
    // Sums of the products of two neighbours: unsigned bytes of a with signed ones of b to saturated words, and words
    // to double words.
    static Vec MulAddPairs8(Vec a, Vec b) { return _mm_maddubs_epi16(a, b); }
    static Vec MulAddPairs16(Vec a, Vec b) { return _mm_madd_epi16(a, b); }

    static Vec ShiftLeft16(Vec a, int bits) { return _mm_slli_epi16(a, bits); }
    static Vec ShiftRight16(Vec a, int bits) { return _mm_srai_epi16(a, bits); }
    static Vec ShiftRight16U(Vec a, int bits) { return _mm_srli_epi16(a, bits); }
    static Vec ShiftLeft32(Vec a, int bits) { return _mm_slli_epi32(a, bits); }
    static Vec ShiftRight32(Vec a, int bits) { return _mm_srai_epi32(a, bits); }
    static Vec ShiftRight32U(Vec a, int bits) { return _mm_srli_epi32(a, bits); }

    static Vec Equal16(Vec a, Vec b) { return _mm_cmpeq_epi16(a, b); }
    static Vec Equal32(Vec a, Vec b) { return _mm_cmpeq_epi32(a, b); }

    // ---- within lanes ----
    // Byte i becomes byte places[i], or 0 where that is negative. Places are below 16.
    static Vec Shuffle8(Vec a, Vec places) { return _mm_shuffle_epi8(a, places); }
    // a0 b0 a1 b1 ... of the low halves, or of the high ones.
    static Vec InterleaveLow8(Vec a, Vec b) { return _mm_unpacklo_epi8(a, b); }
    static Vec InterleaveHigh8(Vec a, Vec b) { return _mm_unpackhi_epi8(a, b); }
    static Vec InterleaveLow16(Vec a, Vec b) { return _mm_unpacklo_epi16(a, b); }
    static Vec InterleaveHigh16(Vec a, Vec b) { return _mm_unpackhi_epi16(a, b); }
    static Vec InterleaveLow64(Vec a, Vec b) { return _mm_unpacklo_epi64(a, b); }
    static Vec InterleaveHigh64(Vec a, Vec b) { return _mm_unpackhi_epi64(a, b); }
    // Words of b where `which` has a bit, else of a.
    template <int which> static Vec Blend16(Vec a, Vec b) { return _mm_blend_epi16(a, b, which); }
    // Elements of half the size, saturated, to unsigned ones with a U: those of a, then those of b.
    static Vec Pack16(Vec a, Vec b) { return _mm_packs_epi16(a, b); }
    static Vec Pack16U(Vec a, Vec b) { return _mm_packus_epi16(a, b); }
    static Vec Pack32(Vec a, Vec b) { return _mm_packs_epi32(a, b); }
    static Vec Pack32U(Vec a, Vec b) { return _mm_packus_epi32(a, b); }

    // ---- across lanes ----
    // The same 16 bytes in every lane.
    static Vec BroadcastLane(const void* p) { return Load(p); }
    // Lane i from addressOf(i).
    template <class AddressOf> static Vec LoadLanes(AddressOf addressOf) { return Load(addressOf(0)); }
    // Pieces of 4 or 8 bytes between the order of the memory and lanes among which they are interleaved: piece k lies
    // in lane k % kLanes, the pieces of a lane in their order.
    static Vec Interleave4(Vec a) { return a; }
    static Vec Deinterleave4(Vec a) { return a; }
    static Vec Interleave8(Vec a) { return a; }
    static Vec Deinterleave8(Vec a) { return a; }
    static Vec Interleave4To8(Vec a) { return a; } // Interleave8(Deinterleave4(a))
    // From the second byte of a on, to the first one of `after`.
    static Vec SkipByte(Vec a, Vec after) { return _mm_alignr_epi8(after, a, 1); }
    // Bytes u0 v0 u1 v1 ... in the order of the memory, kBytes / 2 of each.
    static Vec LoadInterleaved8(const unsigned char* u, const unsigned char* v)
    {
        return _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const Vec*>(u)),
                                 _mm_loadl_epi64(reinterpret_cast<const Vec*>(v)));
    }
    // The low halves of all lanes to `low`, the high ones to `high`, kBytes / 2 each. Pieces of 2 bytes come
    // deinterleaved: piece k from lane k % kLanes.
    static void StoreHalvesDeinterleaved2(unsigned char* low, unsigned char* high, Vec a)
    {
        _mm_storel_epi64(reinterpret_cast<Vec*>(low), a);
        _mm_storel_epi64(reinterpret_cast<Vec*>(high), _mm_unpackhi_epi64(a, a));
    }
    // Lane 0 of a, b and c, then lane 1 of them, and so on.
    static void StoreLaneTriples(unsigned char* p, Vec a, Vec b, Vec c)
    {
        Store(p, a);
        Store(p + 16, b);
        Store(p + 32, c);
    }

    // ---- doubles: 2, or 4 with LookUpTwo32 as AVX2 has it; wider sets may use a part of their vectors ----
    using Doubles = __m128d;
    static constexpr int kDoubles = 2;
    static Doubles LoadDoubles(const double* p) { return _mm_loadu_pd(p); }
    static void StoreDoubles(double* p, Doubles a) { _mm_storeu_pd(p, a); }
    static Doubles BroadcastDouble(double value) { return _mm_set1_pd(value); }
    static Doubles CountUpFrom(double first) { return _mm_add_pd(_mm_set1_pd(first), _mm_setr_pd(0, 1)); }
    static Doubles AddDoubles(Doubles a, Doubles b) { return _mm_add_pd(a, b); }
    static Doubles SubDoubles(Doubles a, Doubles b) { return _mm_sub_pd(a, b); }
    static Doubles MulDoubles(Doubles a, Doubles b) { return _mm_mul_pd(a, b); }
    static Doubles DivDoubles(Doubles a, Doubles b) { return _mm_div_pd(a, b); }
    static Doubles Truncate(Doubles a) { return _mm_round_pd(a, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC); }
    // Between doubles and the first kDoubles signed double words of a lane, toward zero.
    static Doubles FromInt32(Vec a) { return _mm_cvtepi32_pd(a); }
    static Vec ToInt32(Doubles a) { return _mm_cvttpd_epi32(a); }
    // kDoubles / 2 doubles, each twice.
    static Doubles LoadTwice(const double* p) { return _mm_loaddup_pd(p); }

    // ---- what only sets of one lane define ----
    static Vec Max16(Vec a, Vec b) { return _mm_max_epi16(a, b); }
    static Vec Sub32(Vec a, Vec b) { return _mm_sub_epi32(a, b); }
    static Vec Greater16(Vec a, Vec b) { return _mm_cmpgt_epi16(a, b); }
    // Bit i is the highest one of byte i.
    static int SignBits8(Vec a) { return _mm_movemask_epi8(a); }
    // 4 bytes from each address, or 8. With two addresses the high half is 0.
    static Vec Gather32(const void* a, const void* b)
    {
        return _mm_unpacklo_epi32(_mm_cvtsi32_si128(Int32At(a)), _mm_cvtsi32_si128(Int32At(b)));
    }
    static Vec Gather32(const void* a, const void* b, const void* c, const void* d)
    {
        return _mm_setr_epi32(Int32At(a), Int32At(b), Int32At(c), Int32At(d));
    }
    static Vec Gather64(const void* a, const void* b)
    {
        return _mm_unpacklo_epi64(_mm_loadl_epi64(static_cast<const Vec*>(a)),
                                  _mm_loadl_epi64(static_cast<const Vec*>(b)));
    }
    // Double words 0 and 2 of a and of b, or 1 and 3.
    static Vec Even32(Vec a, Vec b)
    {
        return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), _MM_SHUFFLE(2, 0, 2, 0)));
    }
    static Vec Odd32(Vec a, Vec b)
    {
        return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), _MM_SHUFFLE(3, 1, 3, 1)));
    }

private:
    static int32_t Int32At(const void* p)
    {
        int32_t value = 0;
        __builtin_memcpy(&value, p, sizeof(value));
        return value;
    }
};

} // namespace

#endif // ENCMGR_SET_SSE41_H
