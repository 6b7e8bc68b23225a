// The opening of media files, pipes and addresses.
#ifndef ENCMGR_HOST_CONTAINER_H
#define ENCMGR_HOST_CONTAINER_H

#include "host/sources/Libav.h"

#include <atomic>
#include <string>

namespace host
{

class Messages;

// What libavformat is to open for a name that a user gives; "-" is the standard input.
std::string AddressOf(const std::string& name);

// An address that libavformat opens as a file, and that can be read twice.
bool IsPlainFile(const std::string& address);

// An open container whose streams are known; never null. name is for people. Reading ends when the program is
// interrupted, or isStopped is set, which outlives the container; null for none. Throws HostError.
LibavOwned<AVFormatContext> OpenContainer(const std::string& address, const std::string& name, Messages& messages,
                                          std::atomic<bool>* isStopped = nullptr);

// The same in two steps. how: what isn't to be found out, may be null; options are taken out of it as far as they are
// known. stop: asked while something is awaited.
struct Opening {
    const AVInputFormat* format = nullptr;
    AVDictionary** options = nullptr;
    AVIOInterruptCB stop = {};
};
LibavOwned<AVFormatContext> OpenAddress(const std::string& address, const std::string& name, const Opening& how,
                                        Messages& messages);
void FindStreams(AVFormatContext& container, const std::string& name);

} // namespace host

#endif // ENCMGR_HOST_CONTAINER_H
