// Packed 4:2:2 and fourth bytes on vectors.
#ifndef ENCMGR_PACKED_VECTOR_H
#define ENCMGR_PACKED_VECTOR_H

#include "Common/Image/vector/ColourVector.h"
#include "Common/Image/vector/RgbToYuvVector.h"
#include "Common/Image/vector/YuvToRgbVector.h"

namespace
{

inline bool IsYuy2(PairOrder order)
{
    return order.y0 == 0;
}

template <class S> struct PackedVector {
    using Vec = typename S::Vec;
    using FromRgb = RgbToYuvVector<S>;
    using ToRgb = YuvToRgbVector<S>;
    static constexpr int kBlock = ColourVector<S>::kBlock;

    // A block's packed pairs from its bytes of luma and of chroma, U and V interleaved. Both lie among the lanes in
    // interleaved pieces of 8 bytes, so that all low halves make the first vector and all high ones the second.
    template <bool yuy2> static void PutPairs(Vec y, Vec uv, unsigned char* out)
    {
        S::Store(out, yuy2 ? S::InterleaveLow8(y, uv) : S::InterleaveLow8(uv, y));
        S::Store(out + S::kBytes, yuy2 ? S::InterleaveHigh8(y, uv) : S::InterleaveHigh8(uv, y));
    }

    // A shuffle of 4 pairs in a lane: 8 bytes of Y, then U and V interleaved.
    static Vec DeinterleavingOrder(PairOrder order)
    {
        static constexpr int8_t yuy2[16] = {0, 2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15};
        static constexpr int8_t uyvy[16] = {1, 3, 5, 7, 9, 11, 13, 15, 0, 2, 4, 6, 8, 10, 12, 14};
        return S::BroadcastLane(IsYuy2(order) ? yuy2 : uyvy);
    }

    // ---- to and from RGB ----

    template <bool yuy2> static void Rgb24BlockToPacked(const unsigned char* in, unsigned char* out)
    {
        const auto row = FromRgb::template OneRow<typename FromRgb::FromRgb24, typename FromRgb::FlooredTerms>(in);
        PutPairs<yuy2>(S::Interleave4To8(row.y), S::Interleave4To8(row.uv), out);
    }

    static void Rgb24ToPacked(const unsigned char* row, unsigned char* out, int width, PairOrder order)
    {
        const int even = width & ~1;
        if (even < kBlock)
            return PlainColourRows().rgb24ToPacked(row, out, width, order);
        if (IsYuy2(order))
            Cover(even, kBlock, [row, out](ptrdiff_t x) { Rgb24BlockToPacked<true>(row + 3 * x, out + 2 * x); });
        else
            Cover(even, kBlock, [row, out](ptrdiff_t x) { Rgb24BlockToPacked<false>(row + 3 * x, out + 2 * x); });
        if (even < width)
            PlainColourRows().rgb24ToPacked(row + ptrdiff_t{3} * even, out + ptrdiff_t{2} * even, width - even, order);
    }

    static void PackedBlockToRgb24(const unsigned char* in, unsigned char* out, Vec order)
    {
        // Lanes have their 16 pixels in the memory's order, 32 bytes each.
        const Vec first = S::Shuffle8(S::LoadLanes([=](int lane) { return in + 32 * lane; }), order);
        const Vec second = S::Shuffle8(S::LoadLanes([=](int lane) { return in + 32 * lane + 16; }), order);
        const typename ToRgb::Bases bases = ToRgb::template BasesOf<FlooredBases>(S::InterleaveHigh64(first, second));
        ToRgb::Rgb24::Put(ToRgb::ChannelsOf(S::InterleaveLow64(first, second), bases), out);
    }

    static void PackedToRgb24(const unsigned char* row, unsigned char* out, int width, PairOrder pairOrder)
    {
        const int even = width & ~1;
        if (even < kBlock)
            return PlainColourRows().packedToRgb24(row, out, width, pairOrder);
        const Vec order = DeinterleavingOrder(pairOrder);
        Cover(even, kBlock, [row, out, order](ptrdiff_t x) { PackedBlockToRgb24(row + 2 * x, out + 3 * x, order); });
        if (even < width)
            PlainColourRows().packedToRgb24(row + ptrdiff_t{2} * even, out + ptrdiff_t{3} * even, width - even,
                                            pairOrder);
    }

    // ---- to and from planes ----

    // Packed pairs become two blocks at a time, so that each plane of chroma gets a whole vector.
    static constexpr int kTwoBlocksOfPairs = kBlock;

    // Of a block, interleaved in pieces of 8 bytes.
    struct Deinterleaved {
        Vec y;
        Vec uv;

        Deinterleaved(const unsigned char* in, Vec order)
        {
            const Vec first = S::Shuffle8(S::Load(in), order);
            const Vec second = S::Shuffle8(S::Load(in + S::kBytes), order);
            y = S::InterleaveLow64(first, second);
            uv = S::InterleaveHigh64(first, second);
        }
    };

    // (a + b) >> 1
    static Vec FlooredMean(Vec a, Vec b) { return S::Sub8(S::Average8U(a, b), S::And(S::Xor(a, b), S::Broadcast8(1))); }

    static void PackedBlocksToYuv(const ConstPixelRows& in, const YuvRows& out, Vec order)
    {
        const Deinterleaved a(in.upper, order), b(in.upper + 2 * S::kBytes, order);
        const Deinterleaved c(in.lower, order), d(in.lower + 2 * S::kBytes, order);
        S::Store(out.upperY, S::Deinterleave8(a.y));
        S::Store(out.upperY + S::kBytes, S::Deinterleave8(b.y));
        S::Store(out.lowerY, S::Deinterleave8(c.y));
        S::Store(out.lowerY + S::kBytes, S::Deinterleave8(d.y));
        const Vec uv0 = FlooredMean(a.uv, c.uv), uv1 = FlooredMean(b.uv, d.uv);
        const Vec low = S::Broadcast16(0xFF);
        const Vec u = S::Pack16U(S::And(uv0, low), S::And(uv1, low));
        const Vec v = S::Pack16U(S::ShiftRight16U(uv0, 8), S::ShiftRight16U(uv1, 8));
        S::Store(out.u, S::Deinterleave4(u));
        S::Store(out.v, S::Deinterleave4(v));
    }

    static void PackedToYuv(const ConstPixelRows& in, const YuvRows& out, int pairs, PairOrder pairOrder)
    {
        if (pairs < kTwoBlocksOfPairs)
            return PlainColourRows().packedToYuv(in, out, pairs, pairOrder);
        const Vec order = DeinterleavingOrder(pairOrder);
        Cover(pairs, kTwoBlocksOfPairs,
              [in, out, order](ptrdiff_t i) { PackedBlocksToYuv(From<4>(in, i), From(out, 2 * i), order); });
    }

    template <bool yuy2> static void YuvBlockToPacked(const ConstYuvRows& in, const PixelRows& out)
    {
        const Vec uv = S::Interleave8(S::LoadInterleaved8(in.u, in.v));
        PutPairs<yuy2>(S::Interleave8(S::Load(in.upperY)), uv, out.upper);
        PutPairs<yuy2>(S::Interleave8(S::Load(in.lowerY)), uv, out.lower);
    }

    static void YuvToPacked(const ConstYuvRows& in, const PixelRows& out, int pairs, PairOrder order)
    {
        if (pairs < kBlock / 2)
            return PlainColourRows().yuvToPacked(in, out, pairs, order);
        if (IsYuy2(order))
            Cover(pairs, kBlock / 2,
                  [in, out](ptrdiff_t i) { YuvBlockToPacked<true>(From(in, 2 * i), From<4>(out, i)); });
        else
            Cover(pairs, kBlock / 2,
                  [in, out](ptrdiff_t i) { YuvBlockToPacked<false>(From(in, 2 * i), From<4>(out, i)); });
    }

    // ---- bytes ----

    static void SwapPacked(const unsigned char* row, unsigned char* out, int pairs)
    {
        if (pairs < S::kBytes / 4)
            return PlainColourRows().swapPacked(row, out, pairs);
        Cover(pairs, S::kBytes / 4, [row, out](ptrdiff_t i) {
            const Vec words = S::Load(row + 4 * i);
            S::Store(out + 4 * i, S::Or(S::ShiftLeft16(words, 8), S::ShiftRight16U(words, 8)));
        });
    }

    // Words of two vectors' fourth bytes.
    static Vec FourthBytes(const unsigned char* row)
    {
        return S::Pack32U(S::ShiftRight32U(S::Load(row), 24), S::ShiftRight32U(S::Load(row + S::kBytes), 24));
    }

    static void Alpha(const unsigned char* row, unsigned char* a, int width)
    {
        const int even = width & ~1;
        if (even < kBlock)
            return PlainColourRows().alpha(row, a, width);
        Cover(even, kBlock, [row, a](ptrdiff_t x) {
            const unsigned char* const block = row + 4 * x;
            S::Store(a + x, S::Deinterleave4(S::Pack16U(FourthBytes(block), FourthBytes(block + 2 * S::kBytes))));
        });
        if (even < width)
            PlainColourRows().alpha(row + ptrdiff_t{4} * even, a + even, width - even);
    }

    static void Overwrite(ColourTable& table)
    {
        table.alpha = Alpha;
        table.rgb24ToPacked = Rgb24ToPacked;
        table.packedToRgb24 = PackedToRgb24;
        table.packedToYuv = PackedToYuv;
        table.yuvToPacked = YuvToPacked;
        table.swapPacked = SwapPacked;
    }
};

} // namespace

#endif // ENCMGR_PACKED_VECTOR_H
