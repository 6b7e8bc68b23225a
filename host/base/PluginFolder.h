// Where the program and its plug-ins lie.
#ifndef ENCMGR_HOST_PLUGIN_FOLDER_H
#define ENCMGR_HOST_PLUGIN_FOLDER_H

#include <string>

namespace host
{

// The folder of the program's file, or what KXLogSetAppPath has made of it.
std::string ProgramFolder();

// Whether a file with this name is taken for a plug-in.
bool IsPluginName(const std::string& name);

// The folder with the plug-ins themselves that --plugins means: PlugIns in the given one if that is there, else the
// given one if it is called PlugIns or holds plug-ins. Empty: PlugIns beside the program. It need not exist.
std::string PluginFolder(const std::string& given);

// Has the library read that folder. Throws HostError if its name isn't UTF-8.
void UsePluginFolder(const std::string& given);

} // namespace host

#endif // ENCMGR_HOST_PLUGIN_FOLDER_H
