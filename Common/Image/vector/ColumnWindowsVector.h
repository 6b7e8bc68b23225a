// The scalers' columns for sets that permute the bytes of whole vectors: what half a vector of output needs lies in a
// window of the source row, of one vector or two, from which one permutation brings each byte and the one that is mixed
// in beside each other, as the low and the high half of a word. Columns that lie further apart, and rows that are
// halved, stay with the set before.
#ifndef ENCMGR_COLUMN_WINDOWS_VECTOR_H
#define ENCMGR_COLUMN_WINDOWS_VECTOR_H

#include "Common/Image/ScaleRows.h"
#include "Common/Prefetch.h"

#include <new>

namespace
{

template <class S> struct ColumnWindowsVector {
    using Vec = typename S::Vec;
    static constexpr int kWords = S::kBytes / 2; // of a vector: bytes of output

    struct WindowTable {
        int vectors; // of a window; 0: the set before serves
        int32_t offsets[kStripBytes / kWords];
        alignas(kLongestVector) unsigned char places[kStripBytes * 2]; // in the window, of each word's bytes
        alignas(kLongestVector) int16_t weights[kStripBytes];          // of the bytes that are mixed in
    };

    // A source row, of which all windows can be read: one that is shorter than a window is copied.
    class Row
    {
    public:
        Row(const Columns& columns, const unsigned char* src, int vectors) : m_src(src), m_ahead(columns.ahead)
        {
            const int window = vectors * S::kBytes;
            if (columns.rowBytes >= window)
                return;
            for (int i = 0; i < window; i += S::kBytes) {
                const int left = columns.rowBytes - i;
                S::Store(m_copy + i, left >= S::kBytes ? S::Load(src + i)
                                     : left > 0        ? S::LoadFirst(src + i, left)
                                                       : S::Zero());
            }
            m_src = m_copy;
        }
        Row(const Row&) = delete;
        Row& operator=(const Row&) = delete;

        const unsigned char* operator+(ptrdiff_t offset) const { return m_src + offset; }

        ptrdiff_t Ahead() const { return m_ahead; }

    private:
        const unsigned char* m_src;
        ptrdiff_t m_ahead;
        alignas(kLongestVector) unsigned char m_copy[2 * S::kBytes];
    };

    // ---- what is prepared ----

    // Bytes of the row from the first column of the output bytes from `byte` on to the one after their last.
    static int32_t Reach(const Columns& columns, int byte)
    {
        const int first = byte / columns.pixelBytes, last = first + kWords / columns.pixelBytes - 1;
        return (columns.index[last] + 2 - columns.index[first]) * columns.pixelBytes;
    }

    static void PrepareWords(const Columns& columns, WindowTable& table, int byte)
    {
        const int bytes = columns.pixelBytes, first = byte / bytes;
        const int32_t end = columns.rowBytes - table.vectors * S::kBytes;
        int32_t offset = columns.index[first] * bytes;
        offset = offset > end ? (end > 0 ? end : 0) : offset;
        table.offsets[byte / kWords] = offset;
        const auto words = reinterpret_cast<unsigned char(*)[2]>(table.places + 2 * ptrdiff_t{byte});
        int16_t* const weights = table.weights + byte;
        if (bytes == 1) {
            for (int i = 0; i < kWords; ++i) {
                const int32_t place = columns.index[first + i] - offset;
                const uint16_t fraction = columns.fraction[first + i];
                words[i][0] = static_cast<unsigned char>(place);
                words[i][1] = static_cast<unsigned char>(place + (fraction != 0));
                weights[i] = static_cast<int16_t>(fraction);
            }
            return;
        }
        for (int i = 0; i < kWords; ++i) {
            const int32_t place = columns.index[first + i / 4] * 4 - offset + i % 4;
            const uint16_t fraction = columns.fraction[first + i / 4];
            words[i][0] = static_cast<unsigned char>(place);
            words[i][1] = static_cast<unsigned char>(place + (fraction != 0 ? 4 : 0));
            weights[i] = static_cast<int16_t>(i % 4 == 3 ? 0 : fraction);
        }
    }

    // Every other byte of the row: words of it are the pairs, and the set before permutes nothing.
    static bool IsHalved(const Columns& columns)
    {
        return columns.pixelBytes == 1 &&
               columns.index[columns.count - 1] - columns.index[0] == 2 * (columns.count - 1);
    }

    // False: the set before serves, where columns lie far apart, too. After the last one it is repeated, so that whole
    // vectors can be made.
    static bool Prepare(Columns& columns, WindowTable& table)
    {
        if (IsHalved(columns)) {
            table.vectors = 0;
            return false;
        }
        const int bytes = (columns.count * columns.pixelBytes + S::kBytes - 1) / S::kBytes * S::kBytes;
        for (int c = columns.count; c < bytes / columns.pixelBytes; ++c) {
            columns.index[c] = columns.index[columns.count - 1];
            columns.fraction[c] = 0;
        }
        int32_t reach = 0;
        for (int i = 0; i < bytes; i += kWords)
            if (const int32_t r = Reach(columns, i); r > reach)
                reach = r;
        table.vectors = (reach + S::kBytes - 1) / S::kBytes;
        if (table.vectors > 2) {
            table.vectors = 0;
            return false;
        }
        for (int i = 0; i < bytes; i += kWords)
            PrepareWords(columns, table, i);
        return true;
    }

    // ---- words of output ----

    template <int vectors> static Vec PairsAt(const WindowTable& table, const Row& row, ptrdiff_t i)
    {
        const Vec places = S::Load(table.places + 2 * i);
        const unsigned char* const window = row + table.offsets[i / kWords];
        PrefetchLine(window, row.Ahead());
        if constexpr (vectors == 1)
            return S::Permute8(places, S::Load(window));
        else
            return S::Permute8(places, S::Load(window), S::Load(window + S::kBytes));
    }
};

} // namespace

#endif // ENCMGR_COLUMN_WINDOWS_VECTOR_H
