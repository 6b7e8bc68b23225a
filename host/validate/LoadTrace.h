// What the system's loader would need for a library, told without running any of its code.
#ifndef ENCMGR_HOST_LOAD_TRACE_H
#define ENCMGR_HOST_LOAD_TRACE_H

#include <string>
#include <vector>

namespace host
{

struct LoadTrace {
    std::vector<std::string> missing;    // names of libraries that aren't found
    std::vector<std::string> unresolved; // symbols that neither a library nor this program has
};

// Asks the loader that this program itself is run by. Symbols of C++ are given as people write them.
LoadTrace TraceLoading(const std::string& file);

} // namespace host

#endif // ENCMGR_HOST_LOAD_TRACE_H
