// The scalers' row functions for sets that permute the bytes of whole vectors.
#ifndef ENCMGR_SCALE_WINDOWS_VECTOR_H
#define ENCMGR_SCALE_WINDOWS_VECTOR_H

#include "Common/Image/vector/ColumnWindowsVector.h"
#include "Common/Image/vector/ScaleRowsVector.h"

#include <new>

namespace
{

template <class S> struct ScaleWindowsVector {
    using Vec = typename S::Vec;
    using Windows = ColumnWindowsVector<S>;
    using WindowTable = typename Windows::WindowTable;
    using Row = typename Windows::Row;
    using Rows = ScaleRowsVector<S>;
    static_assert(kShuffleBytes + sizeof(WindowTable) <= kPreparedColumnBytes);

    // The set before, for columns that lie too far apart.
    static inline ScaleRowTable s_before = {};

    // Behind that set's own, so that either can be there.
    static WindowTable& TableOf(const Columns& columns)
    {
        return *std::launder(reinterpret_cast<WindowTable*>(columns.prepared + kShuffleBytes));
    }

    static void Prepare(Columns& columns, bool picked)
    {
        if (!Windows::Prepare(columns, TableOf(columns)))
            s_before.prepare(columns, picked);
    }

    // What a row takes from its columns: words of the output bytes from i on.

    template <int vectors> struct Picked {
        const WindowTable& table;
        const Row row;

        Picked(const Columns& columns, const unsigned char* src) : table(TableOf(columns)), row(columns, src, vectors)
        {
        }
        Vec At(ptrdiff_t i) const
        {
            return S::And(Windows::template PairsAt<vectors>(table, row, i), S::Broadcast16(0xFF));
        }
    };

    template <int vectors> struct Mixed {
        const WindowTable& table;
        const Row row;

        Mixed(const Columns& columns, const unsigned char* src) : table(TableOf(columns)), row(columns, src, vectors) {}
        Vec At(ptrdiff_t i) const
        {
            return Rows::MixPairs(Windows::template PairsAt<vectors>(table, row, i), S::Load(table.weights + i));
        }
    };

    template <int vectors> struct MixedQuads {
        const Mixed<vectors> upper;
        const Mixed<vectors> lower;
        const Vec weight;

        MixedQuads(const Columns& columns, const RowPair& rows)
            : upper(columns, rows.upper), lower(columns, rows.lower),
              weight(columns.pixelBytes == 1 ? Rows::template RowWeights<false>(rows.fraction)
                                             : Rows::template RowWeights<true>(rows.fraction))
        {
        }
        Vec At(ptrdiff_t i) const
        {
            const Vec a = upper.At(i), b = lower.At(i);
            return S::Add16(a, S::MulHigh16(S::ShiftLeft16(S::Sub16(b, a), 4), weight));
        }
    };

    template <class Words> static void Write(const Words& words, const Columns& columns, unsigned char* dst)
    {
        const ptrdiff_t bytes = ptrdiff_t{columns.count} * columns.pixelBytes;
        const auto at = [&](ptrdiff_t i) {
            return S::Deinterleave8(S::Pack16U(words.At(i), words.At(i + Windows::kWords)));
        };
        ptrdiff_t i = 0;
        for (; i <= bytes - S::kBytes; i += S::kBytes)
            S::Store(dst + i, at(i));
        if (i < bytes)
            S::StoreFirst(dst + i, at(i), bytes - i);
    }

    static void Pick(const Columns& columns, const unsigned char* src, unsigned char* dst)
    {
        switch (TableOf(columns).vectors) {
        case 1:
            return Write(Picked<1>(columns, src), columns, dst);
        case 2:
            return Write(Picked<2>(columns, src), columns, dst);
        default:
            return s_before.pick(columns, src, dst);
        }
    }

    static void MixColumns(const Columns& columns, const unsigned char* src, unsigned char* dst)
    {
        switch (TableOf(columns).vectors) {
        case 1:
            return Write(Mixed<1>(columns, src), columns, dst);
        case 2:
            return Write(Mixed<2>(columns, src), columns, dst);
        default:
            return s_before.mixColumns(columns, src, dst);
        }
    }

    static void MixQuads(const Columns& columns, const RowPair& rows, unsigned char* dst)
    {
        switch (TableOf(columns).vectors) {
        case 1:
            return Write(MixedQuads<1>(columns, rows), columns, dst);
        case 2:
            return Write(MixedQuads<2>(columns, rows), columns, dst);
        default:
            return s_before.mixQuads(columns, rows, dst);
        }
    }

    static void Overwrite(ScaleRowTable& table)
    {
        s_before = table;
        table.prepare = Prepare;
        table.pick = Pick;
        table.mixColumns = MixColumns;
        table.mixRows = Rows::template MixRowsOf<false>;
        table.mixPixelRows = Rows::template MixRowsOf<true>;
        table.mixQuads = MixQuads;
        ScaleStoresVector<S>::Overwrite(table);
    }
};

} // namespace

#endif // ENCMGR_SCALE_WINDOWS_VECTOR_H
