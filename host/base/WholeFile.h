// Small files that are read or written in one go.
#ifndef ENCMGR_HOST_WHOLE_FILE_H
#define ENCMGR_HOST_WHOLE_FILE_H

#include <string>
#include <string_view>

namespace host
{

// "-" is the standard input. Throws HostError of kExitInput, also for files beyond 256 MB.
std::string ReadWholeFile(const std::string& path);

// Throws HostError of kExitOutput if the folder can't be written to, or a folder stands at the path.
void CheckFilePlace(const std::string& path);

// Under a name of its own first, so that nobody ever sees half a file at the path, or loses an old one for it. A link
// stays, and its target is replaced. Devices and pipes are written to; "-" is the standard output. Throws HostError of
// kExitOutput, or of kExitWrite where the disk is full for instance.
void WriteWholeFile(const std::string& path, std::string_view text);

// Whether two names lead to one file, which needn't be there yet. "-" and addresses are no files.
bool IsSamePath(const std::string& one, const std::string& other);

} // namespace host

#endif // ENCMGR_HOST_WHOLE_FILE_H
