// Tests that run once for each instruction set that this machine has.
#ifndef ENCMGR_TESTS_INSTRUCTION_SETS_H
#define ENCMGR_TESTS_INSTRUCTION_SETS_H

#include "Common/InstructionSet.h"

#include <array>
#include <bit>
#include <gtest/gtest.h>
#include <string>
#include <vector>

class AtEachSet : public testing::TestWithParam<InstructionSet>
{
protected:
    AtEachSet() { UseInstructionSet(GetParam()); }
    ~AtEachSet() override { UseInstructionSet(BestInstructionSet()); }
};

inline std::vector<InstructionSet> InstructionSets()
{
    std::vector<InstructionSet> sets;
    for (int set = 0; set <= static_cast<int>(BestInstructionSet()); ++set)
        sets.push_back(static_cast<InstructionSet>(set));
    return sets;
}

inline std::string NameOfSet(const testing::TestParamInfo<InstructionSet>& info)
{
    const char* const names[kInstructionSets] = {"Plain", "Sse41", "Avx2"};
    return names[static_cast<int>(info.param)];
}

// Each set's table of row functions, which holds nothing else, has functions of its own in every place.
template <class Table> void ExpectFormsOfTheirOwn(const Table& (*rows)())
{
    using Functions = std::array<void (*)(), sizeof(Table) / sizeof(void (*)())>;
    std::vector<Functions> tables;
    for (const InstructionSet set : InstructionSets()) {
        UseInstructionSet(set);
        const auto functions = std::bit_cast<Functions>(rows());
        for (const Functions& lesser : tables)
            for (size_t i = 0; i < functions.size(); ++i)
                EXPECT_NE(functions[i], lesser[i]) << "entry " << i << " of set " << static_cast<int>(set);
        tables.push_back(functions);
    }
    UseInstructionSet(BestInstructionSet());
}

#define AT_EACH_SET(Suite) INSTANTIATE_TEST_SUITE_P(Sets, Suite, testing::ValuesIn(InstructionSets()), NameOfSet)

#endif // ENCMGR_TESTS_INSTRUCTION_SETS_H
