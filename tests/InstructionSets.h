// Tests that run once for each instruction set that this machine has, with random numbers that can come again.
#ifndef ENCMGR_TESTS_INSTRUCTION_SETS_H
#define ENCMGR_TESTS_INSTRUCTION_SETS_H

#include "Common/InstructionSet.h"
#include "tests/Chance.h"

#include <array>
#include <bit>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

class AtEachSet : public testing::TestWithParam<InstructionSet>, public Chance
{
protected:
    AtEachSet() { UseInstructionSet(GetParam()); }
    ~AtEachSet() override { UseInstructionSet(BestInstructionSet()); }

    int Random(int low, int high) override { return std::uniform_int_distribution(low, high)(m_random); }
    void Fill(std::span<unsigned char> bytes) override { FillWith(m_random, Random(0, kStyles - 1), bytes); }

    // Another one in each run, unless the command line gives it; a failure tells it.
    const int m_seed = GTEST_FLAG_GET(random_seed) ? GTEST_FLAG_GET(random_seed) : std::random_device()() % 99999 + 1;
    std::minstd_rand m_random{static_cast<unsigned>(m_seed)};
    testing::ScopedTrace m_replay{__FILE__, __LINE__, "--gtest_random_seed=" + std::to_string(m_seed)};
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
    const char* const names[kInstructionSets] = {"Plain", "Sse41", "Avx2", "Avx512"};
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
