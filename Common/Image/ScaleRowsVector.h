// The scalers' row functions on vectors, for the instruction set of the including file.
//
// Columns become byte shuffles: a group of 8 output bytes takes a load of 16 source bytes, in which a shuffle brings
// each byte and the one that is mixed in beside each other, as the low and the high half of a word.
#ifndef ENCMGR_SCALE_ROWS_VECTOR_H
#define ENCMGR_SCALE_ROWS_VECTOR_H

#include "Common/Image/ScaleRowsSets.h"
#include "Common/Image/ScaleStoresVector.h"
#include "Common/Vector.h"

namespace
{

constexpr int kLoad = 16;
constexpr int kGroup = 8;             // bytes of output
constexpr int kWords = kVecBytes / 2; // of a vector: bytes of output
constexpr int kNoByte = 0x8080;       // of a word's shuffle mask

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
#ifdef __AVX2__
    return _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), 0xD8);
#else
    return _mm_packus_epi16(a, b);
#endif
}

// ---- the shuffle table ----

// 8 output bytes: what lies where in the source row, in words.
class Group
{
public:
    Group(const Columns& columns, int firstByte) : m_pixelBytes(columns.pixelBytes)
    {
        const int32_t* index = columns.index + firstByte / m_pixelBytes;
        const uint16_t* fraction = columns.fraction + firstByte / m_pixelBytes;
        if (m_pixelBytes == 1) {
            m_low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(index));
            m_high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(index + 4));
            m_weights = _mm_loadu_si128(reinterpret_cast<const __m128i*>(fraction));
        } else {
            const __m128i bytes = _mm_setr_epi32(0, 1, 2, 3);
            m_low = _mm_add_epi32(_mm_set1_epi32(4 * index[0]), bytes);
            m_high = _mm_add_epi32(_mm_set1_epi32(4 * index[1]), bytes);
            const short f = static_cast<short>(fraction[0]), g = static_cast<short>(fraction[1]);
            m_weights = _mm_setr_epi16(f, f, f, 0, g, g, g, 0);
        }
    }

    __m128i Weights() const { return m_weights; }

    // Byte k's place in the row.
    int32_t Place(int k) const
    {
        alignas(16) int32_t places[kGroup];
        _mm_store_si128(reinterpret_cast<__m128i*>(places), m_low);
        _mm_store_si128(reinterpret_cast<__m128i*>(places + 4), m_high);
        return places[k];
    }

    // Places from a load on, saturated.
    __m128i PlacesFrom(int32_t load) const
    {
        const __m128i base = _mm_set1_epi32(load);
        return _mm_packs_epi32(_mm_sub_epi32(m_low, base), _mm_sub_epi32(m_high, base));
    }

    // The shuffle mask of a load, with the words that it doesn't hold left out.
    __m128i MaskFrom(int32_t load) const
    {
        const __m128i place = PlacesFrom(load);
        const __m128i step = _mm_and_si128(_mm_cmpgt_epi16(m_weights, _mm_setzero_si128()),
                                           _mm_set1_epi16(static_cast<short>(m_pixelBytes)));
        const __m128i next = _mm_adds_epi16(place, step);
        const __m128i out =
            _mm_or_si128(_mm_cmpgt_epi16(next, _mm_set1_epi16(kLoad - 1)), _mm_cmplt_epi16(place, _mm_setzero_si128()));
        return _mm_blendv_epi8(_mm_or_si128(place, _mm_slli_epi16(next, 8)),
                               _mm_set1_epi16(static_cast<short>(kNoByte)), out);
    }

    bool IsStraightFrom(int32_t load) const
    {
        const __m128i pattern =
            m_pixelBytes == 1 ? _mm_setr_epi16(0, 2, 4, 6, 8, 10, 12, 14) : _mm_setr_epi16(0, 1, 2, 3, 8, 9, 10, 11);
        return _mm_movemask_epi8(_mm_cmpeq_epi16(PlacesFrom(load), pattern)) == 0xFFFF;
    }

private:
    int m_pixelBytes;
    __m128i m_low; // places in the row
    __m128i m_high;
    __m128i m_weights;
};

inline void StoreMask(unsigned char* p, __m128i mask)
{
    _mm_store_si128(reinterpret_cast<__m128i*>(p), mask);
}

inline int32_t LoadAt(const Columns& columns, int32_t place)
{
    const int32_t last = columns.rowBytes - kLoad;
    return place < last ? place : last;
}

// 16 output bytes from one load or two; false if they lie further apart.
inline bool PreparePicks(Columns& columns, int bytes, bool wide)
{
    ShuffleTable& table = columns.shuffles;
    for (int i = 0; i < bytes; i += kLoad) {
        const Group first(columns, i), second(columns, i + kGroup);
        const int32_t load = LoadAt(columns, first.Place(0));
        const int32_t secondLoad = wide ? LoadAt(columns, second.Place(0)) : load;
        if (first.Place(kGroup - 1) - load >= kLoad || second.Place(kGroup - 1) - secondLoad >= kLoad)
            return false;
        table.offsets[0][i / kLoad] = load;
        table.offsets[1][i / kLoad] = secondLoad;
        const __m128i mask = _mm_packus_epi16(first.PlacesFrom(load), second.PlacesFrom(secondLoad));
        StoreMask(table.masks[0] + i, wide ? _mm_unpacklo_epi64(mask, _mm_set1_epi8(-128)) : mask);
        StoreMask(table.masks[1] + i, _mm_unpackhi_epi64(_mm_set1_epi8(-128), mask));
    }
    return true;
}

// The group of output bytes from `firstByte` on: each word from the first load that holds it. Raises the block to what
// the group needs; false if all loads together don't reach its end.
inline bool PreparePairs(Columns& columns, int firstByte, ShuffleTable::Block& block)
{
    ShuffleTable& table = columns.shuffles;
    const Group group(columns, firstByte);
    const int slot = firstByte / kGroup;
    _mm_store_si128(reinterpret_cast<__m128i*>(table.weights + firstByte), group.Weights());

    const __m128i none = _mm_set1_epi16(static_cast<short>(kNoByte));
    __m128i missing = none;
    int32_t load = 0;
    ShuffleTable::Block needed = ShuffleTable::Straight;
    for (int l = 0; l < ShuffleTable::kMostLoads; ++l) {
        __m128i mask = none;
        if (const int left = _mm_movemask_epi8(missing); left != 0) {
            load = LoadAt(columns, group.Place(__builtin_ctz(static_cast<unsigned>(left)) / 2));
            mask = group.MaskFrom(load);
            const __m128i wanted = missing;
            missing = _mm_and_si128(missing, mask);
            mask = _mm_blendv_epi8(none, mask, wanted);
            needed = l == 0 ? ShuffleTable::OneLoad : l == 1 ? ShuffleTable::TwoLoads : ShuffleTable::FourLoads;
        }
        table.offsets[l][slot] = load;
        StoreMask(table.masks[l] + 2 * firstByte, mask);
    }
    const int32_t first = table.offsets[0][slot];
    if (group.IsStraightFrom(first) &&
        (firstByte % kVecBytes % kWords == 0 || first == table.offsets[0][slot - 1] + kLoad))
        needed = ShuffleTable::Straight;
    block = block > needed ? block : needed;
    return _mm_movemask_epi8(missing) == 0;
}

// Columns from which whole vectors can be made: behind the last one it is repeated.
inline int PadColumns(Columns& columns)
{
    const int bytes = (columns.count * columns.pixelBytes + kVecBytes - 1) / kVecBytes * kVecBytes;
    for (int c = columns.count; c < bytes / columns.pixelBytes; ++c) {
        columns.index[c] = columns.index[columns.count - 1];
        columns.fraction[c] = 0;
    }
    return bytes;
}

void Prepare(Columns& columns, bool picked)
{
    ShuffleTable& table = columns.shuffles;
    table.form = ShuffleTable::None;
    if (columns.rowBytes < kLoad)
        return;
    const int bytes = PadColumns(columns);
    if (picked && PreparePicks(columns, bytes, false)) {
        table.form = ShuffleTable::Picks;
        return;
    }
    const Group first(columns, 0);
    if (picked && !first.IsStraightFrom(first.Place(0)) && PreparePicks(columns, bytes, true)) {
        table.form = ShuffleTable::WidePicks;
        return;
    }
    int wide = 0;
    ShuffleTable::Block widest = ShuffleTable::Straight;
    for (int i = 0; i < bytes; i += kGroup) {
        ShuffleTable::Block& block = table.blocks[i / kVecBytes];
        if (i % kVecBytes == 0)
            block = ShuffleTable::Straight;
        if (!PreparePairs(columns, i, block))
            return;
        widest = widest > block ? widest : block;
        wide += block >= ShuffleTable::TwoLoads && i % kVecBytes == kVecBytes - kGroup;
    }
    // A processor foresees the way of a few wide blocks, but not of many among others.
    if (wide > bytes / kVecBytes / 8)
        for (int b = 0; b < bytes / kVecBytes; ++b)
            table.blocks[b] = widest;
    table.form = ShuffleTable::Pairs;
}

// ---- rows from columns ----

// The pairs of the output bytes from i on, a vector of words.
template <ShuffleTable::Block block, bool pixels>
inline Vec PairsAt(const ShuffleTable& table, const unsigned char* src, ptrdiff_t i)
{
    const int32_t* offsets = table.offsets[0] + i / kGroup;
    if constexpr (block == ShuffleTable::Straight) {
        const Vec pairs = Load(src + *offsets);
        const __m128i neighbours = _mm_setr_epi8(0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15);
        return pixels ? MM(shuffle_epi8)(pairs, InEachLane(neighbours)) : pairs;
    }
    constexpr int loads = block == ShuffleTable::OneLoad ? 1 : block == ShuffleTable::TwoLoads ? 2 : 4;
    Vec pairs = MM(shuffle_epi8)(LoadLanes(src, offsets), Load(table.masks[0] + 2 * i));
    for (int l = 1; l < loads; ++l)
        pairs =
            Or(pairs, MM(shuffle_epi8)(LoadLanes(src, table.offsets[l] + i / kGroup), Load(table.masks[l] + 2 * i)));
    return pairs;
}

// What a row takes from its columns: words of the output bytes from i on.

struct Picked {
    const Columns& columns;
    const unsigned char* src;

    void FetchAt(int32_t offset) const { FetchAhead(src + offset, columns.ahead); }
    template <ShuffleTable::Block block, bool pixels> Vec At(ptrdiff_t i) const
    {
        return And(PairsAt<block, pixels>(columns.shuffles, src, i), MM(set1_epi16)(0xFF));
    }
};

struct Mixed {
    const Columns& columns;
    const unsigned char* src;

    void FetchAt(int32_t offset) const { FetchAhead(src + offset, columns.ahead); }
    template <ShuffleTable::Block block, bool pixels> Vec At(ptrdiff_t i) const
    {
        return MixPairs(PairsAt<block, pixels>(columns.shuffles, src, i), Load(columns.shuffles.weights + i));
    }
};

// Two rows mixed. Of bytes the nearer row is the one that is added to: half its weight of 4096 at most, times 16, is
// then a signed word.
struct MixedQuads {
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

    void FetchAt(int32_t offset) const
    {
        near.FetchAt(offset);
        far.FetchAt(offset);
    }
    template <ShuffleTable::Block block, bool pixels> Vec At(ptrdiff_t i) const
    {
        const Vec a = near.At<block, pixels>(i);
        const Vec b = far.At<block, pixels>(i);
        const Vec rise = pixels ? MM(slli_epi16)(MM(sub_epi16)(b, a), 4) : MM(sub_epi16)(a, b);
        return MM(add_epi16)(a, MM(mulhi_epi16)(rise, weight));
    }
};

template <ShuffleTable::Block block, bool pixels, class Words> inline Vec BlockAt(const Words& words, ptrdiff_t i)
{
    return Pack(words.template At<block, pixels>(i), words.template At<block, pixels>(i + kWords));
}

template <bool pixels, class Words> inline Vec BlockAt(const Words& words, ShuffleTable::Block block, ptrdiff_t i)
{
    switch (block) {
    case ShuffleTable::Straight:
        return BlockAt<ShuffleTable::Straight, pixels>(words, i);
    case ShuffleTable::OneLoad:
        return BlockAt<ShuffleTable::OneLoad, pixels>(words, i);
    case ShuffleTable::TwoLoads:
        return BlockAt<ShuffleTable::TwoLoads, pixels>(words, i);
    default:
        return BlockAt<ShuffleTable::FourLoads, pixels>(words, i);
    }
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

// padded: dst has room for whole vectors.
template <bool pixels, bool padded, class Words>
inline void WriteBlocks(const Words& words, const ShuffleTable& table, unsigned char* dst, ptrdiff_t bytes)
{
    ptrdiff_t i = 0;
    for (; padded ? i < bytes : i <= bytes - kVecBytes; i += kVecBytes) {
        words.FetchAt(table.offsets[0][i / kGroup]);
        Store(dst + i, BlockAt<pixels>(words, table.blocks[i / kVecBytes], i));
    }
    if (i < bytes)
        StoreFirst(dst + i, BlockAt<pixels>(words, table.blocks[i / kVecBytes], i), bytes - i);
}

template <bool padded, class Words>
inline void WriteColumns(const Words& words, const Columns& columns, unsigned char* dst)
{
    if (columns.pixelBytes == 1)
        WriteBlocks<false, padded>(words, columns.shuffles, dst, columns.count);
    else
        WriteBlocks<true, padded>(words, columns.shuffles, dst, ptrdiff_t{columns.count} * columns.pixelBytes);
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
        return WriteColumns<false>(Picked{columns, src}, columns, dst);
    }
}

void MixColumns(const Columns& columns, const unsigned char* src, unsigned char* dst)
{
    if (columns.shuffles.form == ShuffleTable::None)
        return PlainScaleRows().mixColumns(columns, src, dst);
    WriteColumns<true>(Mixed{columns, src}, columns, dst);
}

void MixQuads(const Columns& columns, const RowPair& rows, unsigned char* dst)
{
    if (columns.shuffles.form == ShuffleTable::None)
        return PlainScaleRows().mixQuads(columns, rows, dst);
    WriteColumns<false>(MixedQuads(columns, rows), columns, dst);
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
