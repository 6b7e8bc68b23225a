#include "host/commands/Unexpected.h"

#include "host/base/Suggestion.h"
#include "host/commands/CommandTable.h"

#include <CLI/CLI.hpp>

namespace host
{

namespace
{

std::vector<Known> Commands(const CLI::App& program)
{
    std::vector<Known> commands;
    for (const CLI::App* command : VisibleCommands(program))
        commands.push_back({command->get_name(), command->get_name()});
    return commands;
}

void AddOptions(const CLI::App& app, std::vector<Known>& options)
{
    for (const CLI::Option* option : app.get_options())
        for (const std::string& name : option->get_lnames())
            options.push_back({name, "--" + name});
}

} // namespace

std::string SuggestionForUnexpected(const CLI::App& program)
{
    std::vector<Known> options;
    AddOptions(program, options);
    for (const CLI::App* command : program.get_subcommands())
        AddOptions(*command, options);
    for (const std::string& word : program.remaining(true)) {
        const bool isOption = word.starts_with("-");
        if (!isOption && !program.get_subcommands().empty())
            continue; // a file name
        const std::string name = word.substr(0, word.find('='));
        if (std::string suggestion = DidYouMean(name, isOption ? options : Commands(program)); !suggestion.empty())
            return suggestion;
    }
    return {};
}

} // namespace host
