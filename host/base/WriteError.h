// Writes that the system refuses: the disk is full, or nobody reads any more.
#ifndef ENCMGR_HOST_WRITE_ERROR_H
#define ENCMGR_HOST_WRITE_ERROR_H

#include <string>

namespace host
{

// An errno that says so; 0 for all others.
int WriteErrorOf(int error);

// What it means, and what helps.
std::string WriteErrorText(int error);

} // namespace host

#endif // ENCMGR_HOST_WRITE_ERROR_H
