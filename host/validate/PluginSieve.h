// Plug-ins that would end the program, or hold it up, are left out before the library loads any.
#ifndef ENCMGR_HOST_PLUGIN_SIEVE_H
#define ENCMGR_HOST_PLUGIN_SIEVE_H

#include <string>

namespace host
{

class Messages;

// Loads and scans each plug-in of the folder (PluginFolder.h) in a process of its own. Those that crash, hang or end it
// are warned of, and the library passes over them from then on.
void LeaveOutBadPlugins(const std::string& folder, Messages& messages);

} // namespace host

#endif // ENCMGR_HOST_PLUGIN_SIEVE_H
