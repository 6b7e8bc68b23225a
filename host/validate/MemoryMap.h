// What of the process's memory can be read and run: records of a plug-in may point anywhere.
#ifndef ENCMGR_HOST_MEMORY_MAP_H
#define ENCMGR_HOST_MEMORY_MAP_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace host
{

class MemoryMap
{
public:
    // As it is at the time of the call. A map made otherwise is empty.
    static MemoryMap Now();

    bool IsReadable(const void* address, size_t size) const { return Holds(address, size, false); }
    bool IsCode(const void* address) const { return Holds(address, 1, true); }

private:
    struct Range {
        uintptr_t begin, end;
        bool isCode;
    };

    bool Holds(const void* address, size_t size, bool asCode) const;

    std::vector<Range> m_ranges; // readable, by address
};

} // namespace host

#endif // ENCMGR_HOST_MEMORY_MAP_H
