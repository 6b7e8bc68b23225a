// Files with options: presets by name, and files of the user's own.
#ifndef ENCMGR_HOST_PRESET_FILE_H
#define ENCMGR_HOST_PRESET_FILE_H

#include <string>
#include <vector>

namespace CLI
{
class App;
}

namespace host
{

// The option --config of a command, which stands before all others of it. Its file holds lines such as "size=640x360",
// an option's name and its value, or a flag's name alone. What was written on the command line wins over the file, and
// over what would contradict it there. Parsing throws HostError, which names the file and the key, for unknown keys
// and values that make no sense.
void AddPresetOption(CLI::App& command);

// Of the presets that can be named, in order.
std::vector<std::string> PresetNames();

} // namespace host

#endif // ENCMGR_HOST_PRESET_FILE_H
