// Requests for memory that will be needed soon. It need not exist: nothing is read, and no harm done. Internal linkage,
// as the objects of better instruction sets use it too.
#ifndef ENCMGR_PREFETCH_H
#define ENCMGR_PREFETCH_H

#include <cstddef>
#include <cstdint>

namespace
{

constexpr uintptr_t kCacheLine = 64;

// The cache line `ahead` bytes after p.
[[gnu::always_inline]] inline void PrefetchLine(const unsigned char* p, ptrdiff_t ahead)
{
    __builtin_prefetch(reinterpret_cast<const void*>(reinterpret_cast<uintptr_t>(p) + static_cast<uintptr_t>(ahead)));
}

// The lines from `ahead` bytes after p on, `bytes` long. A call would be dropped, since it seems to have no effect.
// locality: 3 for the nearest cache, 2 for the one after it.
template <int locality = 3>
[[gnu::always_inline]] inline void PrefetchBytes(const unsigned char* p, ptrdiff_t ahead, ptrdiff_t bytes)
{
    const uintptr_t address = reinterpret_cast<uintptr_t>(p) + static_cast<uintptr_t>(ahead);
    for (uintptr_t i = 0; i < static_cast<uintptr_t>(bytes); i += kCacheLine)
        __builtin_prefetch(reinterpret_cast<const void*>(address + i), 0, locality);
}

} // namespace

#endif // ENCMGR_PREFETCH_H
