#include "host/validate/MemoryMap.h"

#include <cstdio>
#include <fstream>
#include <string>

namespace host
{

MemoryMap MemoryMap::Now()
{
    MemoryMap map;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        size_t begin = 0, end = 0;
        char read = 0, write = 0, run = 0;
        // NOLINTNEXTLINE(cert-err34-c): the system's own numbers
        if (std::sscanf(line.c_str(), "%zx-%zx %c%c%c", &begin, &end, &read, &write, &run) == 5 && read == 'r')
            map.m_ranges.push_back({begin, end, run == 'x'});
    }
    return map;
}

bool MemoryMap::Holds(const void* address, size_t size, bool asCode) const
{
    auto at = reinterpret_cast<uintptr_t>(address);
    for (const Range& range : m_ranges) {
        if (at < range.begin || at >= range.end || (asCode && !range.isCode))
            continue;
        const size_t held = range.end - at;
        if (size <= held)
            return true;
        size -= held; // neighbours follow each other
        at = range.end;
    }
    return false;
}

} // namespace host
