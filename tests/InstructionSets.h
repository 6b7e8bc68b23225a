// Tests that run once for each instruction set that this machine has.
#ifndef ENCMGR_TESTS_INSTRUCTION_SETS_H
#define ENCMGR_TESTS_INSTRUCTION_SETS_H

#include "Common/InstructionSet.h"

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

#define AT_EACH_SET(Suite) INSTANTIATE_TEST_SUITE_P(Sets, Suite, testing::ValuesIn(InstructionSets()), NameOfSet)

#endif // ENCMGR_TESTS_INSTRUCTION_SETS_H
