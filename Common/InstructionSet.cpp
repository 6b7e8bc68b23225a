#include "Common/InstructionSet.h"

#include <algorithm>
#include <atomic>

namespace
{

InstructionSet Detect()
{
#if ENCMGR_X86_SETS >= 3
    // These also ask whether the system keeps the registers.
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512dq") &&
        __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi"))
        return InstructionSet::Avx512;
#endif
#if ENCMGR_X86_SETS
    if (__builtin_cpu_supports("avx2"))
        return InstructionSet::Avx2;
    if (__builtin_cpu_supports("sse4.1"))
        return InstructionSet::Sse41;
#endif
    return InstructionSet::Plain;
}

std::atomic<InstructionSet>& Active()
{
    static std::atomic<InstructionSet> s_active{BestInstructionSet()};
    return s_active;
}

} // namespace

InstructionSet BestInstructionSet()
{
    static const InstructionSet s_best = Detect();
    return s_best;
}

InstructionSet ActiveInstructionSet()
{
    return Active().load(std::memory_order_relaxed);
}

void UseInstructionSet(InstructionSet set)
{
    Active().store(std::min(set, BestInstructionSet()), std::memory_order_relaxed);
}
