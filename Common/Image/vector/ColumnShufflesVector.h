// The scalers' columns as byte shuffles, worked out once a strip: a group of 8 output bytes takes a load of 16 source
// bytes, in which a shuffle brings each byte and the one that is mixed in beside each other, as the low and the high
// half of a word.
#ifndef ENCMGR_COLUMN_SHUFFLES_VECTOR_H
#define ENCMGR_COLUMN_SHUFFLES_VECTOR_H

#include "Common/Image/ScaleRows.h"

#include <new>

namespace
{

constexpr int kLoad = 16;   // bytes: a lane
constexpr int kGroup = 8;   // bytes of output
constexpr int kNoByte = -1; // in a shuffle: the output byte is 0

// Where groups of output bytes load 16 source bytes, and which of them they take.
struct ShuffleTable {
    enum Form {
        None,      // the plain functions serve
        Picks,     // 16 bytes a group, picked only
        WidePicks, // the same from two loads, one for each half
        Pairs,     // 8 bytes a group, each with the byte that is mixed in after it
    };
    // Of pairs, by vector of output.
    enum Block : unsigned char {
        Straight, // every second pixel and its neighbour: the source as it lies
        OneLoad,  // of each group
        TwoLoads,
        FourLoads,
    };
    static constexpr int kMostLoads = 4;

    Form form;
    Block blocks[kStripBytes / 16];
    unsigned char runs[kStripBytes / 16]; // of blocks from each one on that are alike, and if straight, without a gap
    int32_t offsets[kMostLoads][kStripBytes / 8];
    alignas(kLongestVector) unsigned char masks[kMostLoads][kStripBytes * 2];
    alignas(kLongestVector) int16_t weights[kStripBytes]; // of the bytes that are mixed in
};
static_assert(sizeof(ShuffleTable) <= kShuffleBytes && alignof(ShuffleTable) <= kLongestVector);

// What Prepare left in the columns' memory.
inline const ShuffleTable& ShufflesOf(const Columns& columns)
{
    return *std::launder(reinterpret_cast<const ShuffleTable*>(columns.prepared));
}

// 8 output bytes: what lies where in the source row, in words. L: a set of one lane.
template <class L> class ColumnGroup
{
public:
    using Vec = typename L::Vec;

    ColumnGroup(const Columns& columns, int firstByte) : m_pixelBytes(columns.pixelBytes)
    {
        static constexpr int32_t bytes[4] = {0, 1, 2, 3};
        const int32_t* index = columns.index + firstByte / m_pixelBytes;
        const uint16_t* fraction = columns.fraction + firstByte / m_pixelBytes;
        if (m_pixelBytes == 1) {
            m_low = L::Load(index);
            m_high = L::Load(index + 4);
            m_weights = L::Load(fraction);
        } else {
            m_low = L::Add32(L::Broadcast32(4 * index[0]), L::Load(bytes));
            m_high = L::Add32(L::Broadcast32(4 * index[1]), L::Load(bytes));
            const uint16_t f = fraction[0], g = fraction[1];
            const uint16_t weights[kGroup] = {f, f, f, 0, g, g, g, 0};
            m_weights = L::Load(weights);
        }
    }

    Vec Weights() const { return m_weights; }

    // Byte k's place in the row.
    int32_t Place(int k) const
    {
        int32_t places[kGroup];
        L::Store(places, m_low);
        L::Store(places + 4, m_high);
        return places[k];
    }

    // Places from a load on, saturated.
    Vec PlacesFrom(int32_t load) const
    {
        const Vec base = L::Broadcast32(load);
        return L::Pack32(L::Sub32(m_low, base), L::Sub32(m_high, base));
    }

    // The shuffle mask of a load, with the words that it doesn't hold left out.
    Vec MaskFrom(int32_t load) const
    {
        const Vec place = PlacesFrom(load);
        const Vec step = L::And(L::Greater16(m_weights, L::Zero()), L::Broadcast16(m_pixelBytes));
        const Vec next = L::AddSaturated16(place, step);
        const Vec out = L::Or(L::Greater16(next, L::Broadcast16(kLoad - 1)), L::Greater16(L::Zero(), place));
        return L::Or(out, L::Or(place, L::ShiftLeft16(next, 8)));
    }

    bool IsStraightFrom(int32_t load) const
    {
        static constexpr int16_t bytes[kGroup] = {0, 2, 4, 6, 8, 10, 12, 14};
        static constexpr int16_t pixels[kGroup] = {0, 1, 2, 3, 8, 9, 10, 11};
        const Vec pattern = L::Load(m_pixelBytes == 1 ? bytes : pixels);
        return L::SignBits8(L::Equal16(PlacesFrom(load), pattern)) == 0xFFFF;
    }

private:
    int m_pixelBytes;
    Vec m_low; // places in the row
    Vec m_high;
    Vec m_weights;
};

template <class S> struct ColumnShufflesVector {
    using L = typename S::Lane;
    using LaneVec = typename L::Vec;
    using Group = ColumnGroup<L>;
    static_assert(kStripBytes % S::kBytes == 0);

    static int32_t LoadAt(const Columns& columns, int32_t place)
    {
        const int32_t last = columns.rowBytes - kLoad;
        return place < last ? place : last;
    }

    // 16 output bytes from one load or two; false if they lie further apart.
    static bool PreparePicks(const Columns& columns, ShuffleTable& table, int bytes, bool wide)
    {
        const LaneVec none = L::Broadcast8(kNoByte);
        for (int i = 0; i < bytes; i += kLoad) {
            const Group first(columns, i), second(columns, i + kGroup);
            const int32_t load = LoadAt(columns, first.Place(0));
            const int32_t secondLoad = wide ? LoadAt(columns, second.Place(0)) : load;
            if (first.Place(kGroup - 1) - load >= kLoad || second.Place(kGroup - 1) - secondLoad >= kLoad)
                return false;
            table.offsets[0][i / kLoad] = load;
            table.offsets[1][i / kLoad] = secondLoad;
            const LaneVec mask = L::Pack16U(first.PlacesFrom(load), second.PlacesFrom(secondLoad));
            L::Store(table.masks[0] + i, wide ? L::InterleaveLow64(mask, none) : mask);
            L::Store(table.masks[1] + i, L::InterleaveHigh64(none, mask));
        }
        return true;
    }

    // The group of output bytes from `firstByte` on: each word from the first load that holds it. Raises the block to
    // what the group needs; false if all loads together don't reach its end.
    static bool PreparePairs(const Columns& columns, ShuffleTable& table, int firstByte, ShuffleTable::Block& block)
    {
        const Group group(columns, firstByte);
        const int slot = firstByte / kGroup;
        L::Store(table.weights + firstByte, group.Weights());

        const LaneVec none = L::Broadcast16(kNoByte);
        LaneVec missing = none;
        int32_t load = 0;
        ShuffleTable::Block needed = ShuffleTable::Straight;
        for (int l = 0; l < ShuffleTable::kMostLoads; ++l) {
            LaneVec mask = none;
            if (const int left = L::SignBits8(missing); left != 0) {
                load = LoadAt(columns, group.Place(__builtin_ctz(static_cast<unsigned>(left)) / 2));
                mask = L::Select(missing, group.MaskFrom(load), none);
                missing = L::And(missing, L::Equal16(mask, none));
                needed = l == 0 ? ShuffleTable::OneLoad : l == 1 ? ShuffleTable::TwoLoads : ShuffleTable::FourLoads;
            }
            table.offsets[l][slot] = load;
            L::Store(table.masks[l] + 2 * firstByte, mask);
        }
        const int32_t first = table.offsets[0][slot];
        if (group.IsStraightFrom(first) && (firstByte % S::kBytes == 0 || first == table.offsets[0][slot - 1] + kLoad))
            needed = ShuffleTable::Straight;
        block = block > needed ? block : needed;
        return L::SignBits8(missing) == 0;
    }

    // Columns from which whole vectors can be made: after the last one it is repeated.
    static int PadColumns(Columns& columns)
    {
        const int bytes = (columns.count * columns.pixelBytes + S::kBytes - 1) / S::kBytes * S::kBytes;
        for (int c = columns.count; c < bytes / columns.pixelBytes; ++c) {
            columns.index[c] = columns.index[columns.count - 1];
            columns.fraction[c] = 0;
        }
        return bytes;
    }

    static void FindRuns(ShuffleTable& table, int blocks)
    {
        constexpr int groups = S::kBytes / kGroup; // of a block
        for (int b = blocks - 1; b >= 0; --b) {
            const int32_t* offset = table.offsets[0] + b * groups;
            const bool goesOn =
                b + 1 < blocks && table.blocks[b] == table.blocks[b + 1] &&
                (table.blocks[b] != ShuffleTable::Straight || offset[groups] == offset[0] + 2 * S::kBytes);
            table.runs[b] = static_cast<unsigned char>(goesOn ? table.runs[b + 1] + 1 : 1);
        }
    }

    // All blocks of pairs; false if a group's loads don't reach its end.
    static bool PrepareBlocks(const Columns& columns, ShuffleTable& table, int bytes)
    {
        int wide = 0;
        ShuffleTable::Block widest = ShuffleTable::Straight;
        for (int i = 0; i < bytes; i += kGroup) {
            ShuffleTable::Block& block = table.blocks[i / S::kBytes];
            if (i % S::kBytes == 0)
                block = ShuffleTable::Straight;
            if (!PreparePairs(columns, table, i, block))
                return false;
            widest = widest > block ? widest : block;
            wide += block >= ShuffleTable::TwoLoads && i % S::kBytes == S::kBytes - kGroup;
        }
        // A processor predicts the way of a few wide blocks, but not of many among others.
        if (wide > bytes / S::kBytes / 8)
            for (int b = 0; b < bytes / S::kBytes; ++b)
                table.blocks[b] = widest;
        FindRuns(table, bytes / S::kBytes);
        return true;
    }

    static ShuffleTable::Form PrepareTable(Columns& columns, ShuffleTable& table, bool picked)
    {
        if (columns.rowBytes < kLoad)
            return ShuffleTable::None;
        const int bytes = PadColumns(columns);
        if (picked && PreparePicks(columns, table, bytes, false))
            return ShuffleTable::Picks;
        const Group first(columns, 0);
        if (picked && !first.IsStraightFrom(first.Place(0)) && PreparePicks(columns, table, bytes, true))
            return ShuffleTable::WidePicks;
        return PrepareBlocks(columns, table, bytes) ? ShuffleTable::Pairs : ShuffleTable::None;
    }

    static void Prepare(Columns& columns, bool picked)
    {
        ShuffleTable& table = *std::launder(reinterpret_cast<ShuffleTable*>(columns.prepared));
        table.form = PrepareTable(columns, table, picked);
    }
};

} // namespace

#endif // ENCMGR_COLUMN_SHUFFLES_VECTOR_H
