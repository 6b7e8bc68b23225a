// Which forms of the row functions run. Every form gives the same bytes; the plain ones are the definition.
#ifndef ENCMGR_INSTRUCTION_SET_H
#define ENCMGR_INSTRUCTION_SET_H

enum class InstructionSet : int { Plain, Sse41, Avx2 };

constexpr int kInstructionSets = 3;

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

    // A null pointer leaves a set's table as it is.
    RowTables(const Table& plain, Overwrite sse41, Overwrite avx2) : m_tables{plain, plain, plain}
    {
        if (sse41)
            sse41(m_tables[1]);
        m_tables[2] = m_tables[1];
        if (avx2)
            avx2(m_tables[2]);
    }

    const Table& Active() const { return m_tables[static_cast<int>(ActiveInstructionSet())]; }

private:
    Table m_tables[kInstructionSets];
};

#endif // ENCMGR_INSTRUCTION_SET_H
