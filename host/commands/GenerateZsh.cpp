#include "host/commands/Generate.h"

namespace host
{

namespace
{

const char* const kHead = R"zsh(#compdef encmgr
# Completion of encmgr for zsh, made by "encmgr generate zsh".

_encmgr_listed()
{
    local -a offered
    offered=(${(f)"$(_call_program words ${(q)program} generate $@[-1] 2>/dev/null)"})
    compadd "${@[1,-2]}" -a offered
}

_encmgr()
{
    local program=$words[1] curcontext=$curcontext state
    local -a line commands
    typeset -A opt_args

    _arguments -C \
)zsh";

const char* const kTail = R"zsh(
if [[ $funcstack[1] == _encmgr ]]; then
    _encmgr "$@"
else
    compdef _encmgr encmgr
fi
)zsh";

std::string Quoted(const std::string& text)
{
    std::string quoted = "'";
    for (const char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

// What stands behind ":" in a specification.
std::string Action(const Completion& completion)
{
    switch (completion.kind) {
    case Completion::Kind::kFile:
        return "_files";
    case Completion::Kind::kFolder:
        return "_files -/";
    case Completion::Kind::kWords:
        return "(" + Escaped(JoinedBy(" ", completion.words), ":\\") + ")";
    case Completion::Kind::kListed:
        return "_encmgr_listed " + completion.words.front();
    case Completion::Kind::kListedOrFile:
        return "{_encmgr_listed " + completion.words.front() + "; _files}";
    default:
        return " ";
    }
}

// "(-o --output)"{-o+,--output=}"[help]:OUTPUT:_files"
std::string Specification(const OptionEntry& option)
{
    std::vector<std::string> names = option.names;
    for (std::string& name : names)
        name += option.value.empty() ? "" : name.starts_with("--") ? "=" : "+";
    std::string text = "'(" + JoinedBy(" ", option.names) + ")'";
    text += names.size() > 1 ? "{" + JoinedBy(",", names) + "}" : names.front();
    std::string rest = "[" + Escaped(option.help, "[]:\\") + "]";
    if (!option.value.empty())
        rest += ":" + Escaped(option.value, ":\\") + ":" + Action(option.completion);
    return text + Quoted(rest);
}

std::string Specifications(const CommandEntry& entry, const std::string& indent)
{
    std::string text;
    for (const OptionEntry& option : entry.options)
        text += indent + Specification(option) + " \\\n";
    return text;
}

} // namespace

std::string ZshCompletion(const ProgramEntry& program)
{
    const std::string common = Specifications(program, "        ");
    std::string script = kHead + common + "        '1: :->command' \\\n        '*:: :->rest'\n\n";
    script += "    case $state in\n        command)\n            commands=(\n";
    for (const CommandEntry& command : program.commands)
        script += "                " + Quoted(command.name + ":" + Escaped(command.help, ":\\")) + "\n";
    script += "            )\n            _describe command commands\n            ;;\n"
              "        rest) _encmgr_$line[1] ;;\n    esac\n}\n";
    for (const CommandEntry& command : program.commands) {
        script += "\n_encmgr_" + command.name + "()\n{\n    _arguments \\\n" + Specifications(command, "        ");
        for (const OptionEntry& option : program.options)
            script += "        " + Specification(option) + " \\\n";
        for (const OptionEntry& argument : command.arguments)
            script += "        " + Quoted(":" + argument.names.front() + ":" + Action(argument.completion)) + " \\\n";
        script.replace(script.size() - 3, 3, "\n}\n");
    }
    return script + kTail;
}

} // namespace host
