// The program's commands. A new one is a file of its own, and a line here and in CommandLine.cpp.
#ifndef ENCMGR_HOST_COMMANDS_H
#define ENCMGR_HOST_COMMANDS_H

#include "host/base/Messages.h"

#include <functional>
#include <string>

namespace CLI
{
class App;
}

namespace host
{

// What holds for every command.
struct CommonOptions {
    Volume volume = Volume::kNormal;
    std::string logFile;       // empty: none
    std::string pluginsFolder; // as in PluginFolder.h
};

// A command with its options, ready to go. Returns the exit code; throws HostError.
using Run = std::function<int(const CommonOptions& common, Messages& messages)>;

// Each adds itself with its options to the program, and sets chosen when it is the one that was written.
void AddListCommand(CLI::App& program, Run& chosen);
void AddEncodeCommand(CLI::App& program, Run& chosen);
void AddConvertCommand(CLI::App& program, Run& chosen);
void AddRecordCommand(CLI::App& program, Run& chosen); // where libavdevice is there
void AddViewCommand(CLI::App& program, Run& chosen);
void AddProbeCommand(CLI::App& program, Run& chosen);
void AddValidateCommand(CLI::App& program, Run& chosen);
void AddHelpCommand(CLI::App& program, Run& chosen);
void AddGenerateCommand(CLI::App& program, Run& chosen);

// For the end of a command's help.
extern const char* const kExitCodeHelp;

} // namespace host

#endif // ENCMGR_HOST_COMMANDS_H
