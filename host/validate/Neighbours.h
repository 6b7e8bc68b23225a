// The other plug-ins of the folder: formats and encoders may stand in different files.
#ifndef ENCMGR_HOST_NEIGHBOURS_H
#define ENCMGR_HOST_NEIGHBOURS_H

#include "host/validate/LoadedPlugin.h"

#include <string>
#include <vector>

namespace host
{

struct Neighbour {
    std::string name; // of the file
    LoadedPlugin plugin;
};

// Those beside the file that can be loaded, by name.
std::vector<Neighbour> LoadNeighbours(const std::string& file);

} // namespace host

#endif // ENCMGR_HOST_NEIGHBOURS_H
