// The end of the program where an exception can't go on, in the main a destructor or a function of some library's that
// allocates though it may not throw.
#ifndef ENCMGR_HOST_TERMINATION_H
#define ENCMGR_HOST_TERMINATION_H

#include <string>

namespace host
{

// From now on such an end says why, has the exit code of an internal error, and takes the unfinished file away.
void CatchTermination();

// The one file that is unfinished; an empty path: none is.
void SetUnfinishedFile(const std::string& path);

// Takes it away; a signal handler may do so.
void RemoveUnfinishedFile();

} // namespace host

#endif // ENCMGR_HOST_TERMINATION_H
