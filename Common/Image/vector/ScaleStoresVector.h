// The scalers' row functions that change 4-byte pixels by what they hold, and the mean of rows, on vectors of a set.
#ifndef ENCMGR_SCALE_STORES_VECTOR_H
#define ENCMGR_SCALE_STORES_VECTOR_H

#include "Common/Image/ScaleRows.h"
#include "Common/Prefetch.h"

namespace
{

// 2^23 / 255, rounded up: too large by so little that no quotient of a word reaches the next whole number.
constexpr uint32_t kOver255 = 0x8081;

constexpr bool DividesBy255()
{
    for (uint32_t a = 0; a <= 0xFFFF; ++a)
        if (a * kOver255 >> 16 >> 7 != a / 255)
            return false;
    return true;
}
static_assert(DividesBy255());

template <class S> struct ScaleStoresVector {
    using Vec = typename S::Vec;
    static constexpr int kPixels = S::kBytes / 4; // of a vector

    // ---- overlays ----

    // Each word over 255.
    static Vec Over255(Vec a) { return S::ShiftRight16U(S::MulHigh16U(a, S::Broadcast16(kOver255)), 7); }

    // (a * over + (255 - a) * under) / 255 of the pixels in one half of the vectors; no sum leaves a word, so that
    // parts may wrap.
    static Vec LayOver(Vec opacity, Vec over, Vec under)
    {
        const Vec lift = S::Mul16(opacity, S::Sub16(over, under));
        return Over255(S::Add16(lift, S::Sub16(S::ShiftLeft16(under, 8), under)));
    }

    // Byte 3 goes by the same formula: a colour of 255 adds to the target's, the target's own leaves it alone.
    template <bool colours> static Vec OverlayPixels(Vec row, Vec target)
    {
        static constexpr int8_t lowOpacity[16] = {3, -1, 3, -1, 3, -1, 3, -1, 7, -1, 7, -1, 7, -1, 7, -1};
        static constexpr int8_t highOpacity[16] = {11, -1, 11, -1, 11, -1, 11, -1, 15, -1, 15, -1, 15, -1, 15, -1};
        const Vec byte3 = S::Broadcast32(static_cast<int>(0xFF000000));
        const Vec over = colours ? S::Select(byte3, target, row) : S::Or(row, byte3);
        return S::Pack16U(LayOver(S::Shuffle8(row, S::BroadcastLane(lowOpacity)), S::InterleaveLow8(over, S::Zero()),
                                  S::InterleaveLow8(target, S::Zero())),
                          LayOver(S::Shuffle8(row, S::BroadcastLane(highOpacity)), S::InterleaveHigh8(over, S::Zero()),
                                  S::InterleaveHigh8(target, S::Zero())));
    }

    template <bool colours> static void OverlayRow(const unsigned char* row, unsigned char* dst, int count, Ahead ahead)
    {
        int c = 0;
        for (; c <= count - kPixels; c += kPixels, row += S::kBytes, dst += S::kBytes) {
            PrefetchLine(row, ahead.row);
            PrefetchLine(dst, ahead.target);
            S::Store(dst, OverlayPixels<colours>(S::Load(row), S::Load(dst)));
        }
        (colours ? PlainScaleRows().overlayColours : PlainScaleRows().overlay)(row, dst, count - c, {});
    }

    // ---- masks ----

    // Two vectors a turn: a turn of one is so short that it would be faster or slower by where its code happens to lie.

    // Pixels with another byte 3, wiped where the mask is 0.
    static Vec CutByMask(Vec mask, Vec pixels, Vec opacity)
    {
        const Vec kept = S::Or(S::And(pixels, S::Broadcast32(0xFFFFFF)), S::ShiftLeft32(opacity, 24));
        return S::AndNot(S::Equal32(mask, S::Zero()), kept);
    }

    static void MaskReplace(const unsigned char* mask, unsigned char* dst, int count, Ahead ahead)
    {
        int c = 0;
#pragma GCC unroll 2
        for (; c <= count - kPixels; c += kPixels, mask += kPixels, dst += S::kBytes) {
            PrefetchLine(dst, ahead.target);
            const Vec m = S::LoadWidened8To32(mask);
            S::Store(dst, CutByMask(m, S::Load(dst), m));
        }
        PlainScaleRows().maskReplace(mask, dst, count - c, {});
    }

    static void MaskMultiply(const unsigned char* mask, unsigned char* dst, int count, Ahead ahead)
    {
        int c = 0;
#pragma GCC unroll 2
        for (; c <= count - kPixels; c += kPixels, mask += kPixels, dst += S::kBytes) {
            PrefetchLine(dst, ahead.target);
            const Vec m = S::LoadWidened8To32(mask);
            const Vec pixels = S::Load(dst);
            S::Store(dst, CutByMask(m, pixels, Over255(S::Mul16(m, S::ShiftRight32U(pixels, 24)))));
        }
        PlainScaleRows().maskMultiply(mask, dst, count - c, {});
    }

    // ---- means ----

    static Vec SumsOfPairs(Vec pairs)
    {
        return S::MulAddPairs8(pairs, S::Broadcast8(1));
    }

    // Means of the bytes of two rows and those after them.
    static Vec MeanOf(Vec upper, Vec upperNext, Vec lower, Vec lowerNext)
    {
        const Vec low = S::Add16(SumsOfPairs(S::InterleaveLow8(upper, upperNext)),
                                 SumsOfPairs(S::InterleaveLow8(lower, lowerNext)));
        const Vec high = S::Add16(SumsOfPairs(S::InterleaveHigh8(upper, upperNext)),
                                  SumsOfPairs(S::InterleaveHigh8(lower, lowerNext)));
        return S::Pack16U(S::ShiftRight16U(low, 2), S::ShiftRight16U(high, 2));
    }

    // Rows were often just stored in whole vectors, and a load across two of those would have to wait for both: bytes
    // and those after them come from the same loads.
    static void MeanRows(const unsigned char* upper, const unsigned char* lower, unsigned char* dst, int count)
    {
        if (count < S::kBytes)
            return PlainScaleRows().meanRows(upper, lower, dst, count);
        Vec u = S::Load(upper), l = S::Load(lower);
        int i = 0;
        for (; i <= count + 1 - 2 * S::kBytes; i += S::kBytes) {
            const Vec u1 = S::Load(upper + i + S::kBytes), l1 = S::Load(lower + i + S::kBytes);
            S::Store(dst + i, MeanOf(u, S::SkipByte(u, u1), l, S::SkipByte(l, l1)));
            u = u1;
            l = l1;
        }
        // The last vector ends with the row: some bytes are worked out twice.
        for (; i < count; i += S::kBytes) {
            const int at = i < count - S::kBytes ? i : count - S::kBytes;
            S::Store(dst + at, MeanOf(S::Load(upper + at), S::Load(upper + at + 1), S::Load(lower + at),
                                      S::Load(lower + at + 1)));
        }
    }

    static void Overwrite(ScaleRowTable& table)
    {
        table.meanRows = MeanRows;
        table.overlay = OverlayRow<false>;
        table.overlayColours = OverlayRow<true>;
        table.maskReplace = MaskReplace;
        table.maskMultiply = MaskMultiply;
    }
};

} // namespace

#endif // ENCMGR_SCALE_STORES_VECTOR_H
