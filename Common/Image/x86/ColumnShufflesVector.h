// The scalers' columns as byte shuffles, worked out once a strip: a group of 8 output bytes takes a load of 16 source
// bytes, in which a shuffle brings each byte and the one that is mixed in beside each other, as the low and the high
// half of a word.
#ifndef ENCMGR_COLUMN_SHUFFLES_VECTOR_H
#define ENCMGR_COLUMN_SHUFFLES_VECTOR_H

#include "Common/Image/ScaleRows.h"
#include "Common/x86/Vector.h"

namespace
{

constexpr int kLoad = 16;
constexpr int kGroup = 8;       // bytes of output
constexpr int kNoByte = 0x8080; // of a word's shuffle mask

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
    if (group.IsStraightFrom(first) && (firstByte % kVecBytes == 0 || first == table.offsets[0][slot - 1] + kLoad))
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

inline void FindRuns(ShuffleTable& table, int blocks)
{
    for (int b = blocks - 1; b >= 0; --b) {
        const int32_t* offset = table.offsets[0] + b * (kVecBytes / kGroup);
        const bool goesOn =
            b + 1 < blocks && table.blocks[b] == table.blocks[b + 1] &&
            (table.blocks[b] != ShuffleTable::Straight || offset[kVecBytes / kGroup] == offset[0] + 2 * kVecBytes);
        table.runs[b] = static_cast<int16_t>(goesOn ? table.runs[b + 1] + 1 : 1);
    }
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
    FindRuns(table, bytes / kVecBytes);
    table.form = ShuffleTable::Pairs;
}

} // namespace

#endif // ENCMGR_COLUMN_SHUFFLES_VECTOR_H
