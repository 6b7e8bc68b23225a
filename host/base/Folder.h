// What a folder holds.
#ifndef ENCMGR_HOST_FOLDER_H
#define ENCMGR_HOST_FOLDER_H

#include <string>
#include <vector>

namespace host
{

// The names in it, sorted; none where it can't be read.
std::vector<std::string> NamesIn(const std::string& folder);

} // namespace host

#endif // ENCMGR_HOST_FOLDER_H
