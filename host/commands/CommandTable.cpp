#include "host/commands/CommandTable.h"

#include <CLI/CLI.hpp>

namespace host
{

namespace
{

OptionEntry EntryOf(const CLI::Option& option)
{
    OptionEntry entry;
    for (const std::string& name : option.get_snames())
        entry.names.push_back("-" + name);
    for (const std::string& name : option.get_lnames())
        entry.names.push_back("--" + name);
    if (option.get_positional())
        entry.names = {option.get_name(true)};
    else if (option.get_items_expected_max() > 0)
        entry.value = option.get_type_name();
    entry.help = option.get_description();
    entry.group = option.get_group();
    entry.isRequired = option.get_required();
    entry.completion = CompletionOf(option);
    return entry;
}

CommandEntry EntryOf(const CLI::App& app)
{
    CommandEntry entry = {app.get_name(), app.get_description(), app.get_footer(), {}, {}};
    for (const CLI::Option* option : app.get_options())
        if (!option->get_group().empty() && !(app.get_parent() && option == app.get_help_ptr()))
            (option->get_positional() ? entry.arguments : entry.options).push_back(EntryOf(*option));
    return entry;
}

} // namespace

std::vector<const CLI::App*> VisibleCommands(const CLI::App& program)
{
    return program.get_subcommands([](const CLI::App* command) { return !command->get_group().empty(); });
}

ProgramEntry TableOf(const CLI::App& program)
{
    ProgramEntry table = {EntryOf(program), {}};
    for (const CLI::App* command : VisibleCommands(program))
        table.commands.push_back(EntryOf(*command));
    return table;
}

} // namespace host
