// The scalers' row functions on vectors, for the instruction set of the including file.
#ifndef ENCMGR_SCALE_ROWS_VECTOR_H
#define ENCMGR_SCALE_ROWS_VECTOR_H

#include "Common/Image/x86/ColumnShufflesVector.h"
#include "Common/Image/x86/ScaleStoresVector.h"
#include "Common/x86/Vector.h"

namespace
{

constexpr int kWords = kVecBytes / 2; // of a vector: bytes of output

// ---- mixing ----

// Of each word with the bytes a and b: floor((a * (4096 - f) + b * f) / 4096) = a + floor((b - a) * f / 4096), where
// the floor is the high half of 16 * (b - a) times f.
inline Vec MixPairs(Vec pairs, Vec fraction)
{
    const Vec rise = MM(maddubs_epi16)(pairs, MM(set1_epi16)(0x10F0)); // 16 * b - 16 * a
    return MM(add_epi16)(And(pairs, MM(set1_epi16)(0xFF)), MM(mulhi_epi16)(rise, fraction));
}

// Weights of a lower row, in words: all bytes, or not byte 3 of 4.
template <bool pixels> inline Vec RowWeights(uint32_t fraction)
{
    const Vec all = MM(set1_epi16)(static_cast<short>(fraction));
    return pixels ? And(all, MM(set1_epi64x)(0xFFFFFFFFFFFF)) : all;
}

// The bytes of two vectors of words.
inline Vec Pack(Vec a, Vec b)
{
    return SwapMiddle(MM(packus_epi16)(a, b));
}

// ---- rows from columns ----

// Where a block's bytes come from: for straight ones those of output byte i from 2 * i on.
struct Place {
    const ShuffleTable& table;
    ptrdiff_t straight;
};

// The pairs of the output bytes from i on, a vector of words.
template <ShuffleTable::Block block, bool pixels>
inline Vec PairsAt(const Place& place, const unsigned char* src, ptrdiff_t i)
{
    if constexpr (block == ShuffleTable::Straight) {
        const Vec pairs = Load(src + place.straight + 2 * i);
        const __m128i neighbours = _mm_setr_epi8(0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15);
        return pixels ? MM(shuffle_epi8)(pairs, InEachLane(neighbours)) : pairs;
    }
    const ShuffleTable& table = place.table;
    const auto load = [&](int l) {
        return MM(shuffle_epi8)(LoadLanes(src, table.offsets[l] + i / kGroup), Load(table.masks[l] + 2 * i));
    };
    constexpr int loads = block == ShuffleTable::OneLoad ? 1 : block == ShuffleTable::TwoLoads ? 2 : 4;
    Vec pairs = load(0);
    for (int l = 1; l < loads; ++l)
        pairs = Or(pairs, load(l));
    return pairs;
}

// What a row takes from its columns: words of the output bytes from i on.

struct Picked {
    static constexpr bool isStrip = false; // what it is written to, with room for whole vectors
    const Columns& columns;
    const unsigned char* src;

    void FetchAt(ptrdiff_t offset) const { FetchAhead(src + offset, columns.ahead); }
    template <ShuffleTable::Block block, bool pixels> Vec At(const Place& place, ptrdiff_t i) const
    {
        return And(PairsAt<block, pixels>(place, src, i), MM(set1_epi16)(0xFF));
    }
};

struct Mixed {
    static constexpr bool isStrip = true;
    const Columns& columns;
    const unsigned char* src;

    void FetchAt(ptrdiff_t offset) const { FetchAhead(src + offset, columns.ahead); }
    template <ShuffleTable::Block block, bool pixels> Vec At(const Place& place, ptrdiff_t i) const
    {
        return MixPairs(PairsAt<block, pixels>(place, src, i), Load(columns.shuffles.weights + i));
    }
};

// Two rows mixed. Of bytes the nearer row is the one that is added to: half its weight of 4096 at most, times 16, is
// then a signed word.
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
        weight = MM(set1_epi16)(static_cast<short>(-16 * static_cast<int>(fraction)));
    }

    void FetchAt(ptrdiff_t offset) const
    {
        near.FetchAt(offset);
        far.FetchAt(offset);
    }
    template <ShuffleTable::Block block, bool pixels> Vec At(const Place& place, ptrdiff_t i) const
    {
        const Vec a = near.At<block, pixels>(place, i);
        const Vec b = far.At<block, pixels>(place, i);
        const Vec rise = pixels ? MM(slli_epi16)(MM(sub_epi16)(b, a), 4) : MM(sub_epi16)(a, b);
        return MM(add_epi16)(a, MM(mulhi_epi16)(rise, weight));
    }
};

template <ShuffleTable::Block block, bool pixels, class Words>
inline Vec BlockAt(const Words& words, const Place& place, ptrdiff_t i)
{
    return Pack(words.template At<block, pixels>(place, i), words.template At<block, pixels>(place, i + kWords));
}

// The last vector of a row, of which only some bytes are wanted.
inline void StoreFirst(unsigned char* dst, Vec a, ptrdiff_t bytes)
{
#ifdef __AVX2__
    __m128i part = _mm256_castsi256_si128(a);
    if (bytes & 16) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), part);
        part = _mm256_extracti128_si256(a, 1);
        dst += 16;
    }
#else
    __m128i part = a;
#endif
    for (int size = 8; size > 0; size /= 2)
        if (bytes & size) {
            __builtin_memcpy(dst, &part, static_cast<size_t>(size));
            dst += size;
            part = size == 8 ? _mm_srli_si128(part, 8) : size == 4 ? _mm_srli_si128(part, 4) : _mm_srli_si128(part, 2);
        }
}

// The blocks from i to before `end`, which are alike. Of the last one no more is stored than `bytes` allow, unless
// there is room for whole vectors.
template <ShuffleTable::Block block, bool pixels, class Words>
inline void WriteRun(const Words& words, const ShuffleTable& table, unsigned char* dst, ptrdiff_t i, ptrdiff_t end,
                     ptrdiff_t bytes)
{
    const Place place = {table, table.offsets[0][i / kGroup] - 2 * i};
    for (; i < end; i += kVecBytes) {
        words.FetchAt(block == ShuffleTable::Straight ? place.straight + 2 * i : table.offsets[0][i / kGroup]);
        const Vec vector = BlockAt<block, pixels>(words, place, i);
        if (Words::isStrip || i <= bytes - kVecBytes)
            Store(dst + i, vector);
        else
            StoreFirst(dst + i, vector, bytes - i);
    }
}

template <bool pixels, class Words>
inline void WriteBlocks(const Words& words, const ShuffleTable& table, unsigned char* dst, ptrdiff_t bytes)
{
    ptrdiff_t end = 0;
    for (ptrdiff_t i = 0; i < bytes; i = end) {
        end = i + table.runs[i / kVecBytes] * kVecBytes;
        switch (table.blocks[i / kVecBytes]) {
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

template <class Words> inline void WriteColumns(const Words& words, const Columns& columns, unsigned char* dst)
{
    if (columns.pixelBytes == 1)
        WriteBlocks<false>(words, columns.shuffles, dst, columns.count);
    else
        WriteBlocks<true>(words, columns.shuffles, dst, ptrdiff_t{columns.count} * columns.pixelBytes);
}

template <int loads> void PickSixteens(const Columns& columns, const unsigned char* src, unsigned char* dst)
{
    const ShuffleTable& table = columns.shuffles;
    const ptrdiff_t bytes = ptrdiff_t{columns.count} * columns.pixelBytes;
    const auto picked = [&](ptrdiff_t i) {
        const auto load = [&](int l) {
            return MM(shuffle_epi8)(LoadLanes(src, table.offsets[l] + i / kLoad), Load(table.masks[l] + i));
        };
        return loads == 1 ? load(0) : Or(load(0), load(1));
    };
    ptrdiff_t i = 0;
    for (; i <= bytes - kVecBytes; i += kVecBytes) {
        FetchAhead(src + table.offsets[0][i / kLoad], columns.ahead);
        Store(dst + i, picked(i));
    }
    if (i < bytes)
        StoreFirst(dst + i, picked(i), bytes - i);
}

void Pick(const Columns& columns, const unsigned char* src, unsigned char* dst)
{
    switch (columns.shuffles.form) {
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

void MixColumns(const Columns& columns, const unsigned char* src, unsigned char* dst)
{
    if (columns.shuffles.form == ShuffleTable::None)
        return PlainScaleRows().mixColumns(columns, src, dst);
    WriteColumns(Mixed{columns, src}, columns, dst);
}

void MixQuads(const Columns& columns, const RowPair& rows, unsigned char* dst)
{
    if (columns.shuffles.form == ShuffleTable::None)
        return PlainScaleRows().mixQuads(columns, rows, dst);
    WriteColumns(MixedQuads(columns, rows), columns, dst);
}

// ---- rows from rows ----

inline Vec MixRowBlock(const RowPair& rows, ptrdiff_t i, Vec fraction)
{
    const Vec upper = Load(rows.upper + i);
    const Vec lower = Load(rows.lower + i);
    return MM(packus_epi16)(MixPairs(MM(unpacklo_epi8)(upper, lower), fraction),
                            MixPairs(MM(unpackhi_epi8)(upper, lower), fraction));
}

template <bool pixels> void MixRowsOf(const RowPair& rows, unsigned char* dst, int bytes, ptrdiff_t ahead)
{
    const Vec fraction = RowWeights<pixels>(rows.fraction);
    int i = 0;
    for (; i <= bytes - kVecBytes; i += kVecBytes) {
        if (pixels) // bytes take no more than the processor foresees
            FetchAhead(dst + i, ahead);
        Store(dst + i, MixRowBlock(rows, i, fraction));
    }
    if (i < bytes)
        StoreFirst(dst + i, MixRowBlock(rows, i, fraction), bytes - i);
}

inline void OverwriteScaleRows(ScaleRowTable& table)
{
    table.prepare = Prepare;
    table.pick = Pick;
    table.mixColumns = MixColumns;
    table.mixRows = MixRowsOf<false>;
    table.mixPixelRows = MixRowsOf<true>;
    table.mixQuads = MixQuads;
    table.meanRows = MeanRows;
    table.overlay = OverlayRow<false>;
    table.overlayColours = OverlayRow<true>;
    table.maskReplace = MaskReplace;
    table.maskMultiply = MaskMultiply;
}

} // namespace

#endif // ENCMGR_SCALE_ROWS_VECTOR_H
