// RGB to YUV on vectors of 32-bit sums, scaled so that a floored term is the high half of its sum.
#ifndef ENCMGR_RGB_TO_YUV_VECTOR_H
#define ENCMGR_RGB_TO_YUV_VECTOR_H

#include "Common/Image/vector/ColourSplits.h"
#include "Common/Image/vector/ColourVector.h"

namespace
{

template <class S> struct RgbToYuvVector {
    using C = ColourVector<S>;
    using Vec = typename S::Vec;
    static constexpr int kBlock = C::kBlock;

    // ---- terms ----

    // Sums of 4 pixels in each lane; the low halves are fractions.
    struct Terms {
        Vec luma; // without the offset of 16
        Vec cb;
        Vec cr;
    };

    static Vec Sum(Vec brgr, const Split& of)
    {
        const auto pair = [](int a, int b) { return (b & 0xFF) << 8 | (a & 0xFF); };
        const Vec words = S::MulAddPairs8(brgr, C::WordPairs(pair(of.pb, of.pr), pair(of.qg, of.qr)));
        return S::MulAddPairs16(words, C::WordPairs(of.p, of.q));
    }

    // The block kernels, times 2^2.
    struct FlooredTerms {
        static Terms Of(Vec brgr)
        {
            using Splits = FlooredSplits;
            const Vec luma = Sum(brgr, Splits::luma), cb = Sum(brgr, Splits::cb), cr = Sum(brgr, Splits::cr);
            // Cr lacks 4 R; with it come two bits of G, where all else has zeros and nothing carries.
            return {luma, cb, S::Add32(cr, S::ShiftRight32U(brgr, 22))};
        }
    };

    // The pixel functions, times 2^6.
    struct RoundedTerms {
        static Terms Of(Vec brgr)
        {
            using Splits = RoundedSplits;
            const Vec half = S::Broadcast32(1 << 15);
            const Vec cb = Sum(brgr, Splits::cb), cr = Sum(brgr, Splits::cr), luma = Sum(brgr, Splits::luma);
            return {S::Add32(luma, half), S::Add32(cb, half), S::Add32(cr, half)};
        }
    };

    // ---- sources ----

    // They give vector i of 4 of a block, interleaved: lane l has quadruple i * kLanes + l. Pixels are B, R, G, R,
    // those of a quadruple in the order 0, 2, 1, 3.

    // Of 16 pixels of 24 bits from byte `first` on: where the bytes of the quadruples lie.
    struct BytesOfQuadruples {
        int8_t bytes[64] = {};

        constexpr explicit BytesOfQuadruples(int first)
        {
            constexpr int pixels[4] = {0, 2, 1, 3}, channels[4] = {0, 2, 1, 2};
            for (int i = 0; i < 64; ++i)
                bytes[i] = static_cast<int8_t>(first + 12 * (i / 16) + 3 * pixels[i / 4 % 4] + channels[i % 4]);
        }
    };

    struct FromRgb24 {
        static constexpr int bytes = 3;

        // A lane takes 16 bytes for 12: its pixels and the 4 bytes after them, or before them. No load leaves the
        // block: its first quadruple goes without the bytes before, its last one without those after. Neighbouring
        // lanes take turns, as then one load of 32 bytes can have both: bytes 4 to 15 | 0 to 11.
        template <int i> static Vec Pixels(const unsigned char* block)
        {
            static constexpr int8_t order[80] = {0, 2, 1, 2, 6,  8,  7,  8,  3, 5, 4, 5, 9,  11, 10, 11, // from byte 0
                                                 4, 6, 5, 6, 10, 12, 11, 12, 7, 9, 8, 9, 13, 15, 14, 15, // from byte 4
                                                 0, 2, 1, 2, 6,  8,  7,  8,  3, 5, 4, 5, 9,  11, 10, 11, // and so on
                                                 4, 6, 5, 6, 10, 12, 11, 12, 7, 9, 8, 9, 13, 15, 14, 15, //
                                                 0, 2, 1, 2, 6,  8,  7,  8,  3, 5, 4, 5, 9,  11, 10, 11};
            const auto quadruple = [=](int lane) { return block + 12 * (S::kLanes * i + lane); };
            if constexpr (S::kLanes == 4) {
                // One load has all 48 bytes; the last one begins before them.
                static constexpr BytesOfQuadruples from0(0), from16(16);
                const unsigned char* const first = quadruple(0);
                return i < 3 ? S::Permute8(S::Load(from0.bytes), S::Load(first))
                             : S::Permute8(S::Load(from16.bytes), S::Load(first - 16));
            } else if constexpr (S::kLanes == 1 || (S::kLanes == 2 && (i == 1 || i == 2))) {
                constexpr int from = i == 0 ? 0 : 4;
                return S::Shuffle8(S::Load(quadruple(0) - from), S::Load(order + 4 * from));
            } else {
                const auto address = [=](int lane) { return quadruple(lane) - 4 * (lane % 2); };
                return S::Shuffle8(S::LoadLanes(address), S::Load(order));
            }
        }
    };

    struct FromRgb32 {
        static constexpr int bytes = 4;

        template <int i> static Vec Pixels(const unsigned char* block)
        {
            static constexpr int8_t order[16] = {0, 2, 1, 2, 8, 10, 9, 10, 4, 6, 5, 6, 12, 14, 13, 14};
            return S::Shuffle8(S::Load(block + i * S::kBytes), S::BroadcastLane(order));
        }
    };

    // ---- blocks ----

    // The high halves of two vectors, interleaved.
    static Vec HighHalves(Vec a, Vec b) { return S::template Blend16<0xAA>(S::ShiftRight32U(a, 16), b); }

    // Of the words from two quadruples in a lane, in their order
    //   0, 4, 2, 6, 1, 5, 3, 7
    // twice, the bytes in that of the pixels, with luma's offset.
    static Vec LumaBytes(Vec first, Vec second)
    {
        static constexpr int8_t order[16] = {0, 4, 2, 6, 1, 5, 3, 7, 8, 12, 10, 14, 9, 13, 11, 15};
        return S::Add8(S::Shuffle8(S::Pack16U(first, second), S::BroadcastLane(order)), S::Broadcast8(16));
    }

    // Of interleaved words of Cb and Cr: both pixels of a pair lie 8 bytes apart, as quadruples are in the order
    // 0, 2, 1, 3.
    static Vec PairSums(Vec first, Vec second)
    {
        return S::Add16(S::InterleaveLow64(first, second), S::InterleaveHigh64(first, second));
    }

    // The bytes U and V, interleaved, from the words of four quadruples, which are sums of 2^(bits - 1) terms.
    template <int bits> static Vec ChromaBytes(Vec a, Vec b, Vec c, Vec d)
    {
        const Vec centred = S::Pack16(S::ShiftRight16(PairSums(a, b), bits), S::ShiftRight16(PairSums(c, d), bits));
        return S::Xor(centred, S::Broadcast8(-128));
    }

    template <class Source, class Kind, int i> static Terms TermsOf(const unsigned char* block)
    {
        return Kind::Of(Source::template Pixels<i>(block));
    }

    // A block of a row whose chroma is its own: bytes of Y, and of U and V interleaved.
    struct Row {
        Vec y;
        Vec uv;
    };

    template <class Source, class Kind> static Row OneRow(const unsigned char* in)
    {
        const Terms a = TermsOf<Source, Kind, 0>(in), b = TermsOf<Source, Kind, 1>(in);
        const Terms c = TermsOf<Source, Kind, 2>(in), d = TermsOf<Source, Kind, 3>(in);
        return {LumaBytes(HighHalves(a.luma, b.luma), HighHalves(c.luma, d.luma)),
                ChromaBytes<1>(HighHalves(a.cb, a.cr), HighHalves(b.cb, b.cr), HighHalves(c.cb, c.cr),
                               HighHalves(d.cb, d.cr))};
    }

    // Of two rows: each one's luma, in sums, and words of their chroma together. That is added before the halves are
    // taken, one step for both rows; what the low halves carry stays there.
    struct TwoRows {
        Vec upperLuma;
        Vec lowerLuma;
        Vec chroma;
    };

    template <class Source, class Kind, int i> static TwoRows TwoRowsOf(const ConstPixelRows& in)
    {
        const Terms upper = TermsOf<Source, Kind, i>(in.upper), lower = TermsOf<Source, Kind, i>(in.lower);
        return {upper.luma, lower.luma, HighHalves(S::Add16(upper.cb, lower.cb), S::Add16(upper.cr, lower.cr))};
    }

    template <class Source, class Kind> static void RgbBlockToYuv(const ConstPixelRows& in, const YuvRows& out)
    {
        const ptrdiff_t nextPair = 2 * Distance(in.upper, in.lower);
        PrefetchRow<Source::bytes * kBlock>(in.upper, nextPair);
        PrefetchRow<Source::bytes * kBlock>(in.lower, nextPair);
        const TwoRows a = TwoRowsOf<Source, Kind, 0>(in), b = TwoRowsOf<Source, Kind, 1>(in);
        const Vec upper0 = HighHalves(a.upperLuma, b.upperLuma), lower0 = HighHalves(a.lowerLuma, b.lowerLuma);
        const TwoRows c = TwoRowsOf<Source, Kind, 2>(in), d = TwoRowsOf<Source, Kind, 3>(in);
        const Vec upper1 = HighHalves(c.upperLuma, d.upperLuma), lower1 = HighHalves(c.lowerLuma, d.lowerLuma);
        S::Store(out.upperY, S::Deinterleave4(LumaBytes(upper0, upper1)));
        S::Store(out.lowerY, S::Deinterleave4(LumaBytes(lower0, lower1)));
        const Vec uv = ChromaBytes<2>(a.chroma, b.chroma, c.chroma, d.chroma);
        S::StoreHalvesDeinterleaved2(out.u, out.v, C::DeinterleaveBytes(uv));
    }

    // ---- rows ----

    template <class Source, class Kind, ColourTable::RgbToYuv ColourTable::*plain>
    static void RgbToYuv(const ConstPixelRows& in, const YuvRows& out, int width)
    {
        const int even = width & ~1;
        if (even < kBlock)
            return (PlainColourRows().*plain)(in, out, width);
        Cover(even, kBlock,
              [in, out](ptrdiff_t x) { RgbBlockToYuv<Source, Kind>(From<Source::bytes>(in, x), From(out, x)); });
        if (even < width)
            (PlainColourRows().*plain)(From<Source::bytes>(in, even), From(out, even), width - even);
    }

    static void Overwrite(ColourTable& table)
    {
        table.rgb24ToYuv = RgbToYuv<FromRgb24, FlooredTerms, &ColourTable::rgb24ToYuv>;
        table.rgb32ToYuv = RgbToYuv<FromRgb32, FlooredTerms, &ColourTable::rgb32ToYuv>;
        table.rgb24ToYuvRounded = RgbToYuv<FromRgb24, RoundedTerms, &ColourTable::rgb24ToYuvRounded>;
    }
};

} // namespace

#endif // ENCMGR_RGB_TO_YUV_VECTOR_H
