// The scalers' row functions on vectors of a set.
#ifndef ENCMGR_SCALE_ROWS_VECTOR_H
#define ENCMGR_SCALE_ROWS_VECTOR_H

#include "Common/Image/vector/ColumnShufflesVector.h"
#include "Common/Image/vector/ScaleStoresVector.h"
#include "Common/Prefetch.h"

namespace
{

template <class S> struct ScaleRowsVector {
    using Vec = typename S::Vec;
    static constexpr int kWords = S::kBytes / 2; // of a vector: bytes of output
    static_assert(kRowUnit % S::kBytes == 0);

    // ---- mixing ----

    // Of each word with the bytes a and b: floor((a * (4096 - f) + b * f) / 4096) = a + floor((b - a) * f / 4096),
    // where the floor is the high half of 16 * (b - a) times f.
    static Vec MixPairs(Vec pairs, Vec fraction)
    {
        const Vec rise = S::MulAddPairs8(pairs, S::Broadcast16(0x10F0)); // 16 * b - 16 * a
        return S::Add16(S::And(pairs, S::Broadcast16(0xFF)), S::MulHigh16(rise, fraction));
    }

    // Weights of a lower row, in words: all bytes, or not byte 3 of 4.
    template <bool pixels> static Vec RowWeights(uint32_t fraction)
    {
        const Vec all = S::Broadcast16(static_cast<int>(fraction));
        return pixels ? S::And(all, S::Broadcast64(0xFFFFFFFFFFFF)) : all;
    }

    // ---- rows from columns ----

    // Where a block's bytes come from: for straight ones those of output byte i from 2 * i on.
    struct Place {
        const ShuffleTable& table;
        ptrdiff_t straight;
    };

    // The pairs of the output bytes from i on, a vector of words.
    template <ShuffleTable::Block block, bool pixels>
    static Vec PairsAt(const Place& place, const unsigned char* src, ptrdiff_t i)
    {
        if constexpr (block == ShuffleTable::Straight) {
            static constexpr int8_t neighbours[16] = {0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15};
            const Vec pairs = S::Load(src + place.straight + 2 * i);
            return pixels ? S::Shuffle8(pairs, S::BroadcastLane(neighbours)) : pairs;
        } else {
            const auto load = [&](int l) { return Shuffled(place.table, l, src, i / kGroup, 2 * i); };
            constexpr int loads = block == ShuffleTable::OneLoad ? 1 : block == ShuffleTable::TwoLoads ? 2 : 4;
            Vec pairs = load(0);
            for (int l = 1; l < loads; ++l)
                pairs = S::Or(pairs, load(l));
            return pairs;
        }
    }

    // Load l of the groups from `group` on, one a lane, by the masks from byte `mask` on.
    static Vec Shuffled(const ShuffleTable& table, int l, const unsigned char* src, ptrdiff_t group, ptrdiff_t mask)
    {
        const int32_t* offsets = table.offsets[l] + group;
        return S::Shuffle8(S::LoadLanes([=](int lane) { return src + offsets[lane]; }), S::Load(table.masks[l] + mask));
    }

    // What a row takes from its columns: words of the output bytes from i on.

    struct Picked {
        static constexpr bool isStrip = false; // what it is written to, with room for whole vectors
        const Columns& columns;
        const unsigned char* src;

        void PrefetchAt(ptrdiff_t offset) const { PrefetchLine(src + offset, columns.ahead); }
        template <ShuffleTable::Block block, bool pixels> Vec At(const Place& place, ptrdiff_t i) const
        {
            return S::And(PairsAt<block, pixels>(place, src, i), S::Broadcast16(0xFF));
        }
    };

    struct Mixed {
        static constexpr bool isStrip = true;
        const Columns& columns;
        const unsigned char* src;

        void PrefetchAt(ptrdiff_t offset) const { PrefetchLine(src + offset, columns.ahead); }
        template <ShuffleTable::Block block, bool pixels> Vec At(const Place& place, ptrdiff_t i) const
        {
            return MixPairs(PairsAt<block, pixels>(place, src, i), S::Load(place.table.weights + i));
        }
    };

    // Two rows mixed. Pixels: 16 * (b - a) times the weight, as above. Bytes save the shift by putting the 16 into the
    // weight: a + floor((b - a) * f / 4096) = a + floor((a - b) * (-16 * f) / 65536). For a signed word f must not
    // exceed 2048, so that the nearer row is the one that is added to; and the weight is negative as 16 * 2048 is no
    // signed word, but -16 * 2048 is one.
    struct MixedQuads {
        static constexpr bool isStrip = false;
        Mixed near;
        Mixed far;
        Vec weight;

        MixedQuads(const Columns& columns, const RowPair& rows)
            : near{columns, rows.upper}, far{columns, rows.lower}, weight(RowWeights<true>(rows.fraction))
        {
            if (columns.pixelBytes != 1)
                return;
            uint32_t fraction = rows.fraction;
            if (fraction > kOne / 2) {
                near.src = rows.lower;
                far.src = rows.upper;
                fraction = kOne - fraction;
            }
            static_assert(-16 * (kOne / 2) == INT16_MIN);
            weight = S::Broadcast16(-16 * static_cast<int>(fraction));
        }

        void PrefetchAt(ptrdiff_t offset) const
        {
            near.PrefetchAt(offset);
            far.PrefetchAt(offset);
        }
        template <ShuffleTable::Block block, bool pixels> Vec At(const Place& place, ptrdiff_t i) const
        {
            const Vec a = near.template At<block, pixels>(place, i);
            const Vec b = far.template At<block, pixels>(place, i);
            const Vec rise = pixels ? S::ShiftLeft16(S::Sub16(b, a), 4) : S::Sub16(a, b);
            return S::Add16(a, S::MulHigh16(rise, weight));
        }
    };

    // A vector of bytes. Packed, pieces of 8 bytes lie interleaved among the lanes.
    template <ShuffleTable::Block block, bool pixels, class Words>
    static Vec BlockAt(const Words& words, const Place& place, ptrdiff_t i)
    {
        return S::Deinterleave8(S::Pack16U(words.template At<block, pixels>(place, i),
                                           words.template At<block, pixels>(place, i + kWords)));
    }

    // The blocks from i to before `end`, which are alike. Of the last one no more is stored than `bytes` allow, unless
    // there is room for whole vectors.
    template <ShuffleTable::Block block, bool pixels, class Words>
    static void WriteRun(const Words& words, const ShuffleTable& table, unsigned char* dst, ptrdiff_t i, ptrdiff_t end,
                         ptrdiff_t bytes)
    {
        const Place place = {table, table.offsets[0][i / kGroup] - 2 * i};
        if constexpr (block == ShuffleTable::Straight) {
            const ptrdiff_t whole = Words::isStrip || end <= bytes ? end : bytes - S::kBytes + 1;
#pragma GCC unroll 2 // a turn of one vector is short
            for (; i < whole; i += S::kBytes) {
                words.PrefetchAt(place.straight + 2 * i);
                S::Store(dst + i, BlockAt<block, pixels>(words, place, i));
            }
            if (i < end)
                S::StoreFirst(dst + i, BlockAt<block, pixels>(words, place, i), bytes - i);
        } else {
            for (; i < end; i += S::kBytes) {
                words.PrefetchAt(table.offsets[0][i / kGroup]);
                const Vec vector = BlockAt<block, pixels>(words, place, i);
                if (Words::isStrip || i <= bytes - S::kBytes)
                    S::Store(dst + i, vector);
                else
                    S::StoreFirst(dst + i, vector, bytes - i);
            }
        }
    }

    template <bool pixels, class Words>
    static void WriteBlocks(const Words& words, const ShuffleTable& table, unsigned char* dst, ptrdiff_t bytes)
    {
        ptrdiff_t end = 0;
        for (ptrdiff_t i = 0; i < bytes; i = end) {
            end = i + table.runs[i / S::kBytes] * S::kBytes;
            switch (table.blocks[i / S::kBytes]) {
            case ShuffleTable::Straight:
                WriteRun<ShuffleTable::Straight, pixels>(words, table, dst, i, end, bytes);
                break;
            case ShuffleTable::OneLoad:
                WriteRun<ShuffleTable::OneLoad, pixels>(words, table, dst, i, end, bytes);
                break;
            case ShuffleTable::TwoLoads:
                WriteRun<ShuffleTable::TwoLoads, pixels>(words, table, dst, i, end, bytes);
                break;
            case ShuffleTable::FourLoads:
                WriteRun<ShuffleTable::FourLoads, pixels>(words, table, dst, i, end, bytes);
                break;
            }
        }
    }

    template <class Words> static void WriteColumns(const Words& words, const Columns& columns, unsigned char* dst)
    {
        if (columns.pixelBytes == 1)
            WriteBlocks<false>(words, ShufflesOf(columns), dst, columns.count);
        else
            WriteBlocks<true>(words, ShufflesOf(columns), dst, ptrdiff_t{columns.count} * columns.pixelBytes);
    }

    template <int loads> static void PickSixteens(const Columns& columns, const unsigned char* src, unsigned char* dst)
    {
        const ShuffleTable& table = ShufflesOf(columns);
        const ptrdiff_t bytes = ptrdiff_t{columns.count} * columns.pixelBytes;
        const auto picked = [&](ptrdiff_t i) {
            const Vec first = Shuffled(table, 0, src, i / kLoad, i);
            return loads == 1 ? first : S::Or(first, Shuffled(table, 1, src, i / kLoad, i));
        };
        ptrdiff_t i = 0;
        for (; i <= bytes - S::kBytes; i += S::kBytes) {
            PrefetchLine(src + table.offsets[0][i / kLoad], columns.ahead);
            S::Store(dst + i, picked(i));
        }
        if (i < bytes)
            S::StoreFirst(dst + i, picked(i), bytes - i);
    }

    static void Pick(const Columns& columns, const unsigned char* src, unsigned char* dst)
    {
        switch (ShufflesOf(columns).form) {
        case ShuffleTable::None:
            return PlainScaleRows().pick(columns, src, dst);
        case ShuffleTable::Picks:
            return PickSixteens<1>(columns, src, dst);
        case ShuffleTable::WidePicks:
            return PickSixteens<2>(columns, src, dst);
        case ShuffleTable::Pairs:
            return WriteColumns(Picked{columns, src}, columns, dst);
        }
    }

    static void MixColumns(const Columns& columns, const unsigned char* src, unsigned char* dst)
    {
        if (ShufflesOf(columns).form == ShuffleTable::None)
            return PlainScaleRows().mixColumns(columns, src, dst);
        WriteColumns(Mixed{columns, src}, columns, dst);
    }

    static void MixQuads(const Columns& columns, const RowPair& rows, unsigned char* dst)
    {
        if (ShufflesOf(columns).form == ShuffleTable::None)
            return PlainScaleRows().mixQuads(columns, rows, dst);
        WriteColumns(MixedQuads(columns, rows), columns, dst);
    }

    // ---- rows from rows ----

    static Vec MixRowBlock(const RowPair& rows, ptrdiff_t i, Vec fraction)
    {
        const Vec upper = S::Load(rows.upper + i);
        const Vec lower = S::Load(rows.lower + i);
        return S::Pack16U(MixPairs(S::InterleaveLow8(upper, lower), fraction),
                          MixPairs(S::InterleaveHigh8(upper, lower), fraction));
    }

    template <bool pixels> static void MixRowsOf(const RowPair& rows, unsigned char* dst, int bytes, ptrdiff_t ahead)
    {
        const Vec fraction = RowWeights<pixels>(rows.fraction);
        int i = 0;
#pragma GCC unroll 2
        for (; i <= bytes - S::kBytes; i += S::kBytes) {
            if (pixels) // rows of bytes need no more than the processor predicts
                PrefetchLine(dst + i, ahead);
            S::Store(dst + i, MixRowBlock(rows, i, fraction));
        }
        if (i < bytes)
            S::StoreFirst(dst + i, MixRowBlock(rows, i, fraction), bytes - i);
    }

    static void Overwrite(ScaleRowTable& table)
    {
        table.prepare = ColumnShufflesVector<S>::Prepare;
        table.pick = Pick;
        table.mixColumns = MixColumns;
        table.mixRows = MixRowsOf<false>;
        table.mixPixelRows = MixRowsOf<true>;
        table.mixQuads = MixQuads;
        ScaleStoresVector<S>::Overwrite(table);
    }
};

} // namespace

#endif // ENCMGR_SCALE_ROWS_VECTOR_H
