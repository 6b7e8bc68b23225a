// What the program takes from the C++ heap. The program's operator new counts.
#ifndef ENCMGR_BENCH_ALLOCATIONS_H
#define ENCMGR_BENCH_ALLOCATIONS_H

#include <cstddef>

// Counts from its construction on. One at a time.
class AllocationScope
{
public:
    AllocationScope();

    size_t Count() const; // allocations
    size_t Peak() const;  // bytes held at most, beyond those held at the beginning

private:
    size_t m_count;
    size_t m_held;
};

#endif // ENCMGR_BENCH_ALLOCATIONS_H
