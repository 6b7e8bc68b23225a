// YUV to RGB on vectors of words.
//
// Each channel is (base + 9536 Y) >> 13 = ((base >> 6) + 149 Y) >> 7, as 9536 is 149 * 64, and so is the pixel
// functions' (base + 1192 Y) >> 10 = ((base >> 3) + 149 Y) >> 7. Clamping is free: a channel within 0 to 255 is a sum
// within 0 to 32767, at which additions of words and the pack to bytes saturate.
//
// Even and odd columns go in vectors of their own: a vector of bases, one for each chroma sample, serves both.
#ifndef ENCMGR_YUV_TO_RGB_VECTOR_H
#define ENCMGR_YUV_TO_RGB_VECTOR_H

#include "Common/Image/x86/ColourVector.h"

namespace
{

// ---- the share of chroma ----

// A base is a multiple of U and V and a remainder, (u (U - 128) + v (V - 128) + offset) >> shift.
struct Remainder {
    int u;
    int v;
    int offset;
    int shift;
};

// `constant` also holds what U - 128 and V - 128 in place of U and V take away, and the 7072 that 149 Y lacks.
struct FlooredBases {
    static constexpr Remainder blue = {5, 0, 5 * 128 - 13, 4};
    static constexpr Remainder green = {-3, -4, 30 - 7 * 128, 6};
    static constexpr Remainder red = {0, 18, 18 * 128 - 47, 6};
    static constexpr int blueConstant = 258 * 128 - 35446 + 7072;
    static constexpr int greenConstant = -154 * 128 + 17342 + 7072;
    static constexpr int redConstant = 204 * 128 - 28532 + 7072;
};

struct RoundedBases {
    static constexpr Remainder blue = {1, 0, 128, 3};
    static constexpr Remainder green = {-1, -1, -256, 3};
    static constexpr Remainder red = {0, 2, 256, 3};
    static constexpr int blueConstant = 258 * 128 - 35360 + 7072;
    static constexpr int greenConstant = -154 * 128 + 17424 + 7072;
    static constexpr int redConstant = 204 * 128 - 28464 + 7072;
};

// Words, one for each chroma sample.
struct Bases {
    Vec blue;
    Vec blueRest; // blue's base can exceed a word
    Vec green;
    Vec red;
};

// Multiplies unsigned bytes with signed ones, which chroma is when it is centred.
inline Vec Multiple(int u, int v, Vec centred)
{
    return MM(maddubs_epi16)(BytePairs(u, v), centred);
}

inline Vec Shifted(Vec sum, const Remainder& of)
{
    return MM(srai_epi16)(Plus(sum, of.offset), of.shift);
}

// uv: the bytes U and V by turns.
template <class Kind> inline Bases BasesOf(Vec uv)
{
    const Vec centred = Xor(uv, MM(set1_epi8)(-128));
    const Vec half = Multiple(129, 0, centred); // of 258 U, which exceeds a word
    const Vec otherHalf =
        MM(add_epi16)(half, Plus(Shifted(Multiple(Kind::blue.u, 0, centred), Kind::blue), Kind::blueConstant));
    const Vec blue = MM(adds_epi16)(half, otherHalf);
    const Vec blueRest = MM(sub_epi16)(MM(add_epi16)(half, otherHalf), blue); // 0 unless blue is the largest word
    const Vec minusGreen = Multiple(-Kind::green.u, -Kind::green.v, centred);
    const Vec greenRemainder =
        MM(srai_epi16)(MM(sub_epi16)(MM(set1_epi16)(Kind::green.offset), minusGreen), Kind::green.shift);
    const Vec green = MM(sub_epi16)(Plus(greenRemainder, Kind::greenConstant), Multiple(50, 104, centred));
    const Vec red = MM(add_epi16)(Multiple(0, 204, centred),
                                  Plus(Shifted(Multiple(0, Kind::red.v, centred), Kind::red), Kind::redConstant));
    return {blue, blueRest, green, red};
}

// ---- pixels ----

// In each lane 8 bytes of even columns and 8 of odd ones.
struct Channels {
    Vec b;
    Vec g;
    Vec r;
};

// Sums over 2^7. One of the shifts is a multiplication, as different units do these.
inline Vec Channel(Vec evenSums, Vec oddSums)
{
    const Vec factor = MM(set1_epi16)(1 << 9);
    return MM(packus_epi16)(MM(srai_epi16)(evenSums, 7), MM(mulhi_epi16)(oddSums, factor));
}

inline Channels ChannelsOf(Vec y, const Bases& bases)
{
    // 149 Y - 7072, made of 149 (Y - 128).
    const Vec centred = Xor(y, MM(set1_epi8)(-128));
    const Vec even = Plus(MM(maddubs_epi16)(BytePairs(149, 0), centred), 149 * 128 - 7072);
    const Vec odd = Plus(MM(maddubs_epi16)(BytePairs(0, 149), centred), 149 * 128 - 7072);
    return {Channel(MM(adds_epi16)(MM(adds_epi16)(even, bases.blue), bases.blueRest),
                    MM(adds_epi16)(MM(adds_epi16)(odd, bases.blue), bases.blueRest)),
            Channel(MM(adds_epi16)(even, bases.green), MM(adds_epi16)(odd, bases.green)),
            Channel(MM(adds_epi16)(even, bases.red), MM(adds_epi16)(odd, bases.red))};
}

// ---- targets ----

struct Rgb24 {
    static constexpr int bytes = 3;
    static constexpr bool readsTarget = false;

    static Vec LoadY(const unsigned char* y) { return Load(y); }
    static Vec LoadUv(const unsigned char* u, const unsigned char* v) { return LoadChroma(u, v); }

    // Byte i of the 48 of a lane is of channel i % 3. A shuffle brings a channel's bytes to where they belong in all
    // three vectors at once, as these places differ in i % 16.
    static void Put(const Channels& pixels, unsigned char* out)
    {
        static constexpr unsigned char toB[16] = {0, 13, 3, 8, 6, 11, 1, 14, 4, 9, 7, 12, 2, 15, 5, 10};
        static constexpr unsigned char toG[16] = {10, 0, 13, 3, 8, 6, 11, 1, 14, 4, 9, 7, 12, 2, 15, 5};
        static constexpr unsigned char toR[16] = {5, 10, 0, 13, 3, 8, 6, 11, 1, 14, 4, 9, 7, 12, 2, 15};
        static constexpr unsigned char third0[16] = {255, 0, 0, 255, 0, 0, 255, 0, 0, 255, 0, 0, 255, 0, 0, 255};
        static constexpr unsigned char third1[16] = {0, 255, 0, 0, 255, 0, 0, 255, 0, 0, 255, 0, 0, 255, 0, 0};
        const Vec b = MM(shuffle_epi8)(pixels.b, LoadInEachLane(toB));
        const Vec g = MM(shuffle_epi8)(pixels.g, LoadInEachLane(toG));
        const Vec r = MM(shuffle_epi8)(pixels.r, LoadInEachLane(toR));
        const Vec is0 = LoadInEachLane(third0), is1 = LoadInEachLane(third1);
        const auto mix = [&](Vec at0, Vec at1, Vec at2) {
            return MM(blendv_epi8)(MM(blendv_epi8)(at2, at1, is1), at0, is0);
        };
        const Vec first = mix(b, g, r), second = mix(g, r, b), third = mix(r, b, g);
#ifdef __AVX2__
        Store(out, _mm256_permute2x128_si256(first, second, 0x20));
        Store(out + 32, _mm256_blend_epi32(third, first, 0xF0));
        Store(out + 64, _mm256_permute2x128_si256(second, third, 0x31));
#else
        Store(out, first);
        Store(out + 16, second);
        Store(out + 32, third);
#endif
    }
};

template <bool opaque> struct Rgb32 {
    static constexpr int bytes = 4;
    static constexpr bool readsTarget = !opaque;

    static Vec LoadY(const unsigned char* y) { return ToTurns(Load(y)); }
    static Vec LoadUv(const unsigned char* u, const unsigned char* v) { return ToTurns(LoadChroma(u, v)); }

    static void Put(const Channels& pixels, unsigned char* out)
    {
        static constexpr unsigned char order[16] = {0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15};
        const Vec inOrder = LoadInEachLane(order), fourth = MM(set1_epi8)(opaque ? -1 : 0);
        const Vec b = MM(shuffle_epi8)(pixels.b, inOrder), g = MM(shuffle_epi8)(pixels.g, inOrder);
        const Vec r = MM(shuffle_epi8)(pixels.r, inOrder);
        const Vec bg0 = MM(unpacklo_epi8)(b, g), r0 = MM(unpacklo_epi8)(r, fourth);
        const Vec bg1 = MM(unpackhi_epi8)(b, g), r1 = MM(unpackhi_epi8)(r, fourth);
        PutQuads(MM(unpacklo_epi16)(bg0, r0), out);
        PutQuads(MM(unpackhi_epi16)(bg0, r0), out + kVecBytes);
        PutQuads(MM(unpacklo_epi16)(bg1, r1), out + 2 * kVecBytes);
        PutQuads(MM(unpackhi_epi16)(bg1, r1), out + 3 * kVecBytes);
    }

    static void PutQuads(Vec pixels, unsigned char* out)
    {
        if constexpr (opaque)
            Store(out, pixels);
        else
            Store(out, Or(pixels, And(Load(out), MM(set1_epi32)(-1 << 24))));
    }
};

// ---- rows ----

// The share of chroma is worked out for a strip of blocks, and serves the strip's two rows one after the other: memory
// takes one row at a time better than two.
constexpr int kStrip = 64; // blocks

// The next row lies `step` bytes behind this one.
template <class Target>
inline void RowStripToRgb(const unsigned char* y, const Bases* bases, unsigned char* out, ptrdiff_t step, int blocks)
{
    for (int i = 0; i < blocks; ++i, y += kBlock, out += kBlock * Target::bytes) {
        if constexpr (Target::readsTarget)
            Prefetch<kBlock * Target::bytes>(out, step);
        Target::Put(ChannelsOf(Target::LoadY(y), bases[i]), out);
    }
}

template <class Target, class Kind> inline void YuvStripToRgb(const ConstYuvRows& in, const PixelRows& out, int blocks)
{
    Bases bases[kStrip];
    for (int i = 0; i < blocks; ++i)
        bases[i] = BasesOf<Kind>(Target::LoadUv(in.u + i * (kBlock / 2), in.v + i * (kBlock / 2)));
    const ptrdiff_t step = Distance(out.upper, out.lower);
    RowStripToRgb<Target>(in.upperY, bases, out.upper, step, blocks);
    RowStripToRgb<Target>(in.lowerY, bases, out.lower, step, blocks);
}

template <class Target, class Kind, ColourTable::YuvToRgb ColourTable::*plain>
void YuvToRgb(const ConstYuvRows& in, const PixelRows& out, int width)
{
    const int even = width & ~1;
    if (even < kBlock)
        return (PlainColourRows().*plain)(in, out, width);
    ptrdiff_t x = 0;
    for (; x <= even - kStrip * kBlock; x += kStrip * kBlock)
        YuvStripToRgb<Target, Kind>(From(in, x), From<Target::bytes>(out, x), kStrip);
    if (const int rest = static_cast<int>((even - x) / kBlock); rest > 0)
        YuvStripToRgb<Target, Kind>(From(in, x), From<Target::bytes>(out, x), rest);
    if (even % kBlock != 0)
        YuvStripToRgb<Target, Kind>(From(in, even - kBlock), From<Target::bytes>(out, even - kBlock), 1);
    if (even < width)
        (PlainColourRows().*plain)(From(in, even), From<Target::bytes>(out, even), width - even);
}

inline void OverwriteYuvToRgb(ColourTable& table)
{
    table.yuvToRgb24 = YuvToRgb<Rgb24, FlooredBases, &ColourTable::yuvToRgb24>;
    table.yuvToRgb32 = YuvToRgb<Rgb32<false>, FlooredBases, &ColourTable::yuvToRgb32>;
    table.yuvToArgb = YuvToRgb<Rgb32<true>, FlooredBases, &ColourTable::yuvToArgb>;
    table.yuvToRgb24Rounded = YuvToRgb<Rgb24, RoundedBases, &ColourTable::yuvToRgb24Rounded>;
}

} // namespace

#endif // ENCMGR_YUV_TO_RGB_VECTOR_H
