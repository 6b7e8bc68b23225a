#include "bench/Allocations.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

namespace
{

// The size stands before each block, at a distance that keeps the block aligned.
constexpr size_t kHeader = std::max(alignof(std::max_align_t), sizeof(size_t));

std::atomic<size_t> g_count, g_held, g_peak;

void* Allocate(size_t size)
{
    if (size > static_cast<size_t>(-1) - kHeader)
        return nullptr;
    auto* block = static_cast<unsigned char*>(std::malloc(size + kHeader));
    if (!block)
        return nullptr;
    std::memcpy(block, &size, sizeof(size));
    ++g_count;
    g_peak = std::max<size_t>(g_peak, g_held += size);
    return block + kHeader;
}

void Free(void* pointer)
{
    if (!pointer)
        return;
    unsigned char* block = static_cast<unsigned char*>(pointer) - kHeader;
    size_t size = 0;
    std::memcpy(&size, block, sizeof(size));
    g_held -= size;
    std::free(block);
}

} // namespace

// All forms without an alignment. A sanitizer's run-time would take those left out.
void* operator new(size_t size)
{
    void* pointer = Allocate(size);
    if (!pointer)
        throw std::bad_alloc();
    return pointer;
}

void* operator new[](size_t size)
{
    return operator new(size);
}

void* operator new(size_t size, const std::nothrow_t&) noexcept
{
    return Allocate(size);
}

void* operator new[](size_t size, const std::nothrow_t&) noexcept
{
    return Allocate(size);
}

void operator delete(void* pointer) noexcept
{
    Free(pointer);
}

void operator delete[](void* pointer) noexcept
{
    Free(pointer);
}

void operator delete(void* pointer, size_t) noexcept
{
    Free(pointer);
}

void operator delete[](void* pointer, size_t) noexcept
{
    Free(pointer);
}

AllocationScope::AllocationScope() : m_count(g_count), m_held(g_held)
{
    g_peak = m_held;
}

size_t AllocationScope::Count() const
{
    return g_count - m_count;
}

size_t AllocationScope::Peak() const
{
    return g_peak - m_held;
}
