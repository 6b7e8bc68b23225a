#include "host/commands/Generate.h"

namespace host
{

namespace
{

std::string Quoted(const std::string& text)
{
    return "'" + Escaped(text, "'\\") + "'";
}

std::string Action(const Completion& completion)
{
    switch (completion.kind) {
    case Completion::Kind::kFile:
        return " -F";
    case Completion::Kind::kFolder:
        return " -x -a '(__fish_complete_directories)'";
    case Completion::Kind::kWords:
        return " -x -a " + Quoted(JoinedBy(" ", completion.words));
    case Completion::Kind::kListed:
    case Completion::Kind::kListedOrFile:
        return std::string(completion.kind == Completion::Kind::kListed ? " -x" : " -F") + " -a '(encmgr generate " +
               completion.words.front() + " 2>/dev/null)'";
    default:
        return " -x";
    }
}

std::string OptionLine(const std::string& start, const OptionEntry& option)
{
    std::string line = start;
    for (const std::string& name : option.names)
        line += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
    if (!option.value.empty())
        line += " -r" + Action(option.completion);
    return line + " -d " + Quoted(option.help) + "\n";
}

} // namespace

std::string FishCompletion(const ProgramEntry& program)
{
    const std::string start = "complete -c encmgr";
    std::string script = "# Completion of encmgr for fish, made by \"encmgr generate fish\".\n\n" + start + " -f\n";
    for (const OptionEntry& option : program.options)
        script += OptionLine(start, option);
    for (const CommandEntry& command : program.commands)
        script += start + " -n __fish_use_subcommand -a " + command.name + " -d " + Quoted(command.help) + "\n";
    for (const CommandEntry& command : program.commands) {
        const std::string behind = start + " -n '__fish_seen_subcommand_from " + command.name + "'";
        script += "\n";
        for (const OptionEntry& option : command.options)
            script += OptionLine(behind, option);
        for (const OptionEntry& argument : command.arguments)
            script += behind + Action(argument.completion) + "\n";
    }
    return script;
}

} // namespace host
