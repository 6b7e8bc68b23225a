// The opening of media files, pipes and addresses.
#ifndef ENCMGR_HOST_CONTAINER_H
#define ENCMGR_HOST_CONTAINER_H

#include "host/sources/Libav.h"

#include <string>

namespace host
{

class Messages;

// What libavformat is to open for a name that a user gives; "-" is the standard input.
std::string AddressOf(const std::string& name);

// An address that libavformat opens as a file, and that can be read twice.
bool IsPlainFile(const std::string& address);

// An open container whose streams are known; never null. name is for people. Throws HostError.
LibavOwned<AVFormatContext> OpenContainer(const std::string& address, const std::string& name, Messages& messages);

} // namespace host

#endif // ENCMGR_HOST_CONTAINER_H
