// "encmgr help": what --help says, for those who look for a command of that name.
#include "host/base/ExitCode.h"
#include "host/base/Suggestion.h"
#include "host/base/Text.h"
#include "host/commands/CommandTable.h"
#include "host/commands/Commands.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <memory>

namespace host
{

namespace
{

// The formatter is asked directly: a program's own help would be that of the command that was written, which is this.
std::string HelpOf(const CLI::App& app, const std::string& name)
{
    return app.get_formatter()->make_help(&app, name, CLI::AppFormatMode::Normal);
}

std::string HelpOn(const CLI::App& program, const std::string& name)
{
    if (name.empty())
        return HelpOf(program, program.get_name());
    std::string names;
    std::vector<Known> known;
    for (const CLI::App* command : VisibleCommands(program)) {
        if (command->get_name() == name)
            return HelpOf(*command, program.get_name() + " " + name);
        names += (names.empty() ? "" : ", ") + command->get_name();
        known.push_back({command->get_name(), command->get_name()});
    }
    const std::string suggestion = DidYouMean(name, known);
    throw HostError(kExitUsage, Format("no command is called \"%s\"; %s", name.c_str(),
                                       (suggestion.empty() ? "there are: " + names : suggestion).c_str()));
}

} // namespace

void AddHelpCommand(CLI::App& program, Run& chosen)
{
    CLI::App* const command = program.add_subcommand("help", "Show the help of a command, or of the program");
    const auto name = std::make_shared<std::string>();
    CLI::Option* const option = command->add_option("COMMAND", *name, "The command")->type_name("");
    SetCompletion(*option, {Completion::Kind::kListed, {"commands"}});
    command->callback([name, &program, &chosen] {
        chosen = [text = HelpOn(program, *name)](const CommonOptions&, Messages&) {
            std::fputs(text.c_str(), stdout);
            return kExitGood;
        };
    });
}

} // namespace host
