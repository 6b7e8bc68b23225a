// Which forms of the row functions run. Every form gives the same bytes; the plain ones are the definition.
#ifndef ENCMGR_INSTRUCTION_SET_H
#define ENCMGR_INSTRUCTION_SET_H

#include <initializer_list>

// Avx512 is its foundation with the parts for bytes and words, double and quad words, shorter vectors, and permutations
// of bytes (F, BW, DQ, VL, VBMI). Builds for 32 bits, which have a quarter of its registers, go without it.
enum class InstructionSet : int { Plain, Sse41, Avx2, Avx512 };

constexpr int kInstructionSets = 4;

// Bytes; no set has longer ones. Memory that vectors fill from its beginning is aligned to it.
constexpr int kLongestVector = 64;

// The best set that this build holds and this processor has.
InstructionSet BestInstructionSet();

// The set by which row functions are chosen: the best one, unless a test chose another.
InstructionSet ActiveInstructionSet();

// For tests and benchmarks. A set beyond the best one becomes the best one.
void UseInstructionSet(InstructionSet set);

// One table of row functions for each set. It begins with the plain forms; then each better set puts its own over those
// that it has, and what it lacks stays as the set before left it.
template <class Table> class RowTables
{
public:
    using Overwrite = void (*)(Table& table);

    // overwrites: those of the sets that this build holds, in their order.
    RowTables(const Table& plain, std::initializer_list<Overwrite> overwrites) : m_tables{plain}
    {
        const Overwrite* overwrite = overwrites.begin();
        for (int set = 1; set < kInstructionSets; ++set) {
            m_tables[set] = m_tables[set - 1];
            if (overwrite != overwrites.end())
                (*overwrite++)(m_tables[set]);
        }
    }

    const Table& Active() const { return m_tables[static_cast<int>(ActiveInstructionSet())]; }

private:
    Table m_tables[kInstructionSets];
};

#endif // ENCMGR_INSTRUCTION_SET_H
