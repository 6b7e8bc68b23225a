// What the colour conversions on vectors share: how they walk along rows, and how pixels lie in vectors.
//
// Work goes by blocks of 16 pixels for each lane, in one of two layouts. In the memory's order, lane 0 has the block's
// first 16 pixels, lane 1 the next ones. Interleaved, quadruple k of the block lies in lane k % kLanes.
#ifndef ENCMGR_COLOUR_VECTOR_H
#define ENCMGR_COLOUR_VECTOR_H

#include "Common/Image/ColourRows.h"
#include "Common/Prefetch.h"

#include <cstddef>
#include <cstdint>

namespace
{

// ---- rows ----

// Calls block(x) so that blocks cover 0 to size - 1; the last one overlaps the one before it where they don't divide
// the size. REQUIRES: size >= step. Converting a pixel twice gives the same bytes.
template <class Block> inline void Cover(ptrdiff_t size, int step, const Block& block)
{
    ptrdiff_t x = 0;
    for (; x <= size - step; x += step)
        block(x);
    if (x < size)
        block(size - step);
}

// The rows from pixel x on, which begins a pair.
template <class Byte> inline PlanarRows<Byte> From(const PlanarRows<Byte>& rows, ptrdiff_t x)
{
    return {rows.upperY + x, rows.lowerY + x, rows.u + x / 2, rows.v + x / 2};
}

template <int bytes, class Byte> inline PackedRows<Byte> From(const PackedRows<Byte>& rows, ptrdiff_t x)
{
    return {rows.upper + bytes * x, rows.lower + bytes * x};
}

// Asks for `bytes` bytes of another row, `step` bytes after p: processors predict walks up a picture, as bottom-up
// bitmaps have them, badly.
template <int bytes> inline void PrefetchRow(const unsigned char* p, ptrdiff_t step)
{
    PrefetchBytes<2>(p, step, bytes);
}

inline ptrdiff_t Distance(const unsigned char* from, const unsigned char* to)
{
    return static_cast<ptrdiff_t>(reinterpret_cast<uintptr_t>(to) - reinterpret_cast<uintptr_t>(from));
}

// ---- vectors ----

template <class S> struct ColourVector {
    using Vec = typename S::Vec;
    static constexpr int kBlock = 16 * S::kLanes; // pixels

    // The bytes a and b, or the words, in each pair of them.
    static Vec BytePairs(int a, int b)
    {
        return S::Broadcast16(static_cast<int16_t>(static_cast<uint16_t>(b << 8 | (a & 0xFF))));
    }
    static Vec WordPairs(int a, int b)
    {
        return S::Broadcast32(static_cast<int>(static_cast<uint32_t>(b) << 16 | static_cast<uint16_t>(a)));
    }

    static Vec Plus(Vec words, int term) { return S::Add16(words, S::Broadcast16(term)); }

    // Even bytes of a lane in its low half, odd ones in its high half.
    static Vec DeinterleaveBytes(Vec a)
    {
        static constexpr int8_t order[16] = {0, 2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15};
        return S::Shuffle8(a, S::BroadcastLane(order));
    }
};

} // namespace

#endif // ENCMGR_COLOUR_VECTOR_H
