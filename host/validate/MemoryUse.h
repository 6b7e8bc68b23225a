// How much a process holds, to see whether that grows.
#ifndef ENCMGR_HOST_MEMORY_USE_H
#define ENCMGR_HOST_MEMORY_USE_H

#include <cstddef>
#include <functional>

namespace host
{

struct ResourceUse {
    size_t bytes; // handed out by malloc; 0 where that can't be told
    size_t files; // open ones
};
ResourceUse UseNow();

// Whether and by how much each of several equal stretches of work holds more at its end than at its begin: the least of
// them, so that what is kept once, or given back later, doesn't count.
struct Growth {
    long bytes;
    long files;
};
Growth GrowthOf(int stretches, const std::function<void()>& stretch);

} // namespace host

#endif // ENCMGR_HOST_MEMORY_USE_H
