// This program once more, with other arguments.
#ifndef ENCMGR_HOST_CHILD_PROCESS_H
#define ENCMGR_HOST_CHILD_PROCESS_H

#include <chrono>
#include <string>
#include <vector>

namespace host
{

struct ChildEnd {
    bool isTimedOut = false; // it was killed
    int signal = 0;          // that ended it, 0 if none
    int exitCode = 0;
};

// Runs the program with these arguments to its end, or kills it and all that it has started when the time is up. It
// reads nothing, and what it prints goes to the two files; an empty name stands for this program's own stream. Throws
// HostError if there can be no process, or on an interrupt.
ChildEnd RunSelf(const std::vector<std::string>& arguments, std::chrono::milliseconds time, const std::string& output,
                 const std::string& errors);

} // namespace host

#endif // ENCMGR_HOST_CHILD_PROCESS_H
