// The program's commands and options as plain data, for what is generated from them.
#ifndef ENCMGR_HOST_COMMAND_TABLE_H
#define ENCMGR_HOST_COMMAND_TABLE_H

#include "host/commands/Completion.h"

namespace CLI
{
class App;
}

namespace host
{

struct OptionEntry {
    std::vector<std::string> names; // "-o", "--output"; of an argument without dashes its name alone
    std::string value;              // what its value is called; empty: it takes none
    std::string help;
    std::string group; // the heading that it stands under
    bool isRequired = false;
    Completion completion;
};

struct CommandEntry {
    std::string name;
    std::string help;
    std::string footer;
    std::vector<OptionEntry> options;
    std::vector<OptionEntry> arguments;
};

// The program itself, with the options that hold for each of its commands.
struct ProgramEntry : CommandEntry {
    std::vector<CommandEntry> commands;
};

// Without what is hidden from help; --help stands with the program alone.
ProgramEntry TableOf(const CLI::App& program);
std::vector<const CLI::App*> VisibleCommands(const CLI::App& program);

} // namespace host

#endif // ENCMGR_HOST_COMMAND_TABLE_H
