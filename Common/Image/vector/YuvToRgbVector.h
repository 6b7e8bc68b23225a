// YUV to RGB on vectors of words.
//
// Each channel is (base + 9536 Y) >> 13 = ((base >> 6) + 149 Y) >> 7, as 9536 is 149 * 64, and so is the pixel
// functions' (base + 1192 Y) >> 10 = ((base >> 3) + 149 Y) >> 7. Clamping is free: a channel within 0 to 255 is a sum
// within 0 to 32767, at which additions of words and the pack to bytes saturate.
//
// Even and odd columns go in vectors of their own: a vector of bases, one for each chroma sample, serves both.
#ifndef ENCMGR_YUV_TO_RGB_VECTOR_H
#define ENCMGR_YUV_TO_RGB_VECTOR_H

#include "Common/Image/vector/ChromaBases.h"
#include "Common/Image/vector/ColourVector.h"

namespace
{

template <class S> struct YuvToRgbVector {
    using C = ColourVector<S>;
    using Vec = typename S::Vec;
    static constexpr int kBlock = C::kBlock;

    // ---- the share of chroma ----

    // Words, one for each chroma sample.
    struct Bases {
        Vec blue;
        Vec blueRest; // blue's base can exceed a word
        Vec green;
        Vec red;
    };

    // Multiplies unsigned bytes with signed ones, which chroma is when it is centred.
    static Vec Multiple(int u, int v, Vec centred) { return S::MulAddPairs8(C::BytePairs(u, v), centred); }

    static Vec Shifted(Vec sum, const Remainder& of) { return S::ShiftRight16(C::Plus(sum, of.offset), of.shift); }

    // uv: the bytes U and V, interleaved.
    template <class Kind> static Bases BasesOf(Vec uv)
    {
        const Vec centred = S::Xor(uv, S::Broadcast8(-128));
        const Vec half = Multiple(kBlueU / 2, 0, centred); // of 258 U, which exceeds a word
        const Vec otherHalf =
            S::Add16(half, C::Plus(Shifted(Multiple(Kind::blue.u, 0, centred), Kind::blue), Kind::blueConstant));
        const Vec blue = S::AddSaturated16(half, otherHalf);
        const Vec blueRest = S::Sub16(S::Add16(half, otherHalf), blue); // 0 unless blue is the largest word
        // The factor of a byte pair is unsigned: green's sums are made without their sign, and taken away.
        const Vec minusGreen = Multiple(-Kind::green.u, -Kind::green.v, centred);
        const Vec greenRemainder =
            S::ShiftRight16(S::Sub16(S::Broadcast16(Kind::green.offset), minusGreen), Kind::green.shift);
        const Vec green = S::Sub16(C::Plus(greenRemainder, Kind::greenConstant), Multiple(-kGreenU, -kGreenV, centred));
        const Vec red = S::Add16(Multiple(0, kRedV, centred),
                                 C::Plus(Shifted(Multiple(0, Kind::red.v, centred), Kind::red), Kind::redConstant));
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
    static Vec Channel(Vec evenSums, Vec oddSums)
    {
        return S::Pack16U(S::ShiftRight16(evenSums, 7), S::MulHigh16(oddSums, S::Broadcast16(1 << 9)));
    }

    static Channels ChannelsOf(Vec y, const Bases& bases)
    {
        // 149 Y - kLumaShift, made of 149 (Y - 128).
        const Vec centred = S::Xor(y, S::Broadcast8(-128));
        constexpr int constant = 149 * 128 - kLumaShift;
        const Vec even = C::Plus(S::MulAddPairs8(C::BytePairs(149, 0), centred), constant);
        const Vec odd = C::Plus(S::MulAddPairs8(C::BytePairs(0, 149), centred), constant);
        return {Channel(S::AddSaturated16(S::AddSaturated16(even, bases.blue), bases.blueRest),
                        S::AddSaturated16(S::AddSaturated16(odd, bases.blue), bases.blueRest)),
                Channel(S::AddSaturated16(even, bases.green), S::AddSaturated16(odd, bases.green)),
                Channel(S::AddSaturated16(even, bases.red), S::AddSaturated16(odd, bases.red))};
    }

    // ---- targets ----

    struct Rgb24 {
        static constexpr int bytes = 3;
        static constexpr bool readsTarget = false;

        static Vec LoadY(const unsigned char* y) { return S::Load(y); }
        static Vec LoadUv(const unsigned char* u, const unsigned char* v) { return S::LoadInterleaved8(u, v); }

        // Byte i of the 48 of a lane is of channel i % 3. A shuffle brings a channel's bytes to where they belong in
        // all three vectors at once, as these places differ in i % 16. Pixel p is byte p / 2 of the even columns or
        // 8 + p / 2; blue of it goes to place 3 p % 16, green one further, red two.
        static void Put(const Channels& pixels, unsigned char* out)
        {
            static constexpr int8_t toB[16] = {0, 13, 3, 8, 6, 11, 1, 14, 4, 9, 7, 12, 2, 15, 5, 10};
            static constexpr int8_t toG[16] = {10, 0, 13, 3, 8, 6, 11, 1, 14, 4, 9, 7, 12, 2, 15, 5};
            static constexpr int8_t toR[16] = {5, 10, 0, 13, 3, 8, 6, 11, 1, 14, 4, 9, 7, 12, 2, 15};
            static constexpr int8_t third0[16] = {-1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1};
            static constexpr int8_t third1[16] = {0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0};
            const Vec b = S::Shuffle8(pixels.b, S::BroadcastLane(toB));
            const Vec g = S::Shuffle8(pixels.g, S::BroadcastLane(toG));
            const Vec r = S::Shuffle8(pixels.r, S::BroadcastLane(toR));
            const Vec is0 = S::BroadcastLane(third0), is1 = S::BroadcastLane(third1);
            const auto mix = [&](Vec at0, Vec at1, Vec at2) { return S::Select(is0, at0, S::Select(is1, at1, at2)); };
            S::StoreLaneTriples(out, mix(b, g, r), mix(g, r, b), mix(r, b, g));
        }
    };

    template <bool opaque> struct Rgb32 {
        static constexpr int bytes = 4;
        static constexpr bool readsTarget = !opaque;

        static Vec LoadY(const unsigned char* y) { return S::Interleave4(S::Load(y)); }
        static Vec LoadUv(const unsigned char* u, const unsigned char* v)
        {
            return S::Interleave4(S::LoadInterleaved8(u, v));
        }

        static void Put(const Channels& pixels, unsigned char* out)
        {
            static constexpr int8_t order[16] = {0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15};
            const Vec inOrder = S::BroadcastLane(order), fourth = S::Broadcast8(opaque ? -1 : 0);
            const Vec b = S::Shuffle8(pixels.b, inOrder), g = S::Shuffle8(pixels.g, inOrder);
            const Vec r = S::Shuffle8(pixels.r, inOrder);
            const Vec bg0 = S::InterleaveLow8(b, g), r0 = S::InterleaveLow8(r, fourth);
            const Vec bg1 = S::InterleaveHigh8(b, g), r1 = S::InterleaveHigh8(r, fourth);
            PutQuads(S::InterleaveLow16(bg0, r0), out);
            PutQuads(S::InterleaveHigh16(bg0, r0), out + S::kBytes);
            PutQuads(S::InterleaveLow16(bg1, r1), out + 2 * S::kBytes);
            PutQuads(S::InterleaveHigh16(bg1, r1), out + 3 * S::kBytes);
        }

        static void PutQuads(Vec pixels, unsigned char* out)
        {
            if constexpr (opaque)
                S::Store(out, pixels);
            else
                S::Store(out, S::Or(pixels, S::And(S::Load(out), S::Broadcast32(-1 << 24))));
        }
    };

    // ---- rows ----

    // The share of chroma is worked out for a strip of blocks, and serves the strip's two rows one after the other:
    // memory takes one row at a time better than two.
    static constexpr int kStrip = 64; // blocks

    // The next row lies `step` bytes after this one.
    template <class Target>
    static void RowStripToRgb(const unsigned char* y, const Bases* bases, unsigned char* out, ptrdiff_t step,
                              int blocks)
    {
        for (int i = 0; i < blocks; ++i, y += kBlock, out += kBlock * Target::bytes) {
            if constexpr (Target::readsTarget)
                PrefetchRow<kBlock * Target::bytes>(out, step);
            Target::Put(ChannelsOf(Target::LoadY(y), bases[i]), out);
        }
    }

    template <class Target, class Kind>
    static void YuvStripToRgb(const ConstYuvRows& in, const PixelRows& out, int blocks)
    {
        Bases bases[kStrip];
        for (int i = 0; i < blocks; ++i)
            bases[i] = BasesOf<Kind>(Target::LoadUv(in.u + i * (kBlock / 2), in.v + i * (kBlock / 2)));
        const ptrdiff_t step = Distance(out.upper, out.lower);
        RowStripToRgb<Target>(in.upperY, bases, out.upper, step, blocks);
        RowStripToRgb<Target>(in.lowerY, bases, out.lower, step, blocks);
    }

    template <class Target, class Kind, ColourTable::YuvToRgb ColourTable::*plain>
    static void YuvToRgb(const ConstYuvRows& in, const PixelRows& out, int width)
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

    static void Overwrite(ColourTable& table)
    {
        table.yuvToRgb24 = YuvToRgb<Rgb24, FlooredBases, &ColourTable::yuvToRgb24>;
        table.yuvToRgb32 = YuvToRgb<Rgb32<false>, FlooredBases, &ColourTable::yuvToRgb32>;
        table.yuvToArgb = YuvToRgb<Rgb32<true>, FlooredBases, &ColourTable::yuvToArgb>;
        table.yuvToRgb24Rounded = YuvToRgb<Rgb24, RoundedBases, &ColourTable::yuvToRgb24Rounded>;
    }
};

} // namespace

#endif // ENCMGR_YUV_TO_RGB_VECTOR_H
