#include "host/commands/Generate.h"

namespace host
{

namespace
{

// Words are cut out of the line at blanks: Bash's own would be cut at ":" and "=" too, as in 16:9. What it then puts in
// is the part behind the last of these.
const char* const kHead = R"bash(# Completion of encmgr for bash, made by "encmgr generate bash".

_encmgr()
{
    local line=${COMP_LINE:0:COMP_POINT} current="" previous="" command="" head="" kind="" words="" options="" word
    local -a typed
    read -a typed <<<"$line"
    case $line in
        *[^\\]' ') ;;
        *)
            current=${typed[${#typed[@]}-1]}
            unset "typed[${#typed[@]}-1]"
            ;;
    esac
    for word in "${typed[@]:1}"; do
        case $word in
            @COMMANDS@) command=${command:-$word} ;;
        esac
    done
    previous=${typed[${#typed[@]}-1]}
    case $current in
        --*=*)
            head=${current%%=*}=
            previous=${current%%=*}
            current=${current#*=}
            ;;
    esac

)bash";

const char* const kTail = R"bash(
    if [[ -z $kind && $current == -* ]]; then
        kind=words
        words=$options
    elif [[ -z $kind ]]; then
        case $command in
@ARGUMENTS@        esac
    fi

    COMPREPLY=()
    local IFS=$'\n'
    case $kind in
        listed*) words=$("${COMP_WORDS[0]}" generate "$words" 2>/dev/null) ;;
    esac
    case $kind in
        words | listed*) COMPREPLY=($(compgen -W "${words// /$IFS}" -- "$current")) ;;
    esac
    case $kind in
        *file) COMPREPLY+=($(compgen -f -- "$current")) ;;
        folder) COMPREPLY=($(compgen -d -- "$current")) ;;
    esac
    case $kind in
        *file | folder) compopt -o filenames 2>/dev/null ;;
    esac
    local cut=$head$current
    case $COMP_WORDBREAKS in
        *:*=* | *=*:*) cut=${cut%"${cut##*[:=]}"} ;;
        *:*) cut=${cut%"${cut##*:}"} ;;
        *=*) cut=${cut%"${cut##*=}"} ;;
        *) cut="" ;;
    esac
    COMPREPLY=("${COMPREPLY[@]/#/$head}")
    COMPREPLY=("${COMPREPLY[@]#"$cut"}")
}

complete -F _encmgr encmgr
)bash";

void ReplaceMark(std::string& text, const std::string& mark, const std::string& by)
{
    text.replace(text.find(mark), mark.size(), by);
}

std::string KindText(const Completion& completion)
{
    switch (completion.kind) {
    case Completion::Kind::kFile:
        return "kind=file";
    case Completion::Kind::kFolder:
        return "kind=folder";
    case Completion::Kind::kWords:
        return "kind=words words='" + JoinedBy(" ", completion.words) + "'";
    case Completion::Kind::kListed:
        return "kind=listed words=" + completion.words.front();
    case Completion::Kind::kListedOrFile:
        return "kind=listedfile words=" + completion.words.front();
    default:
        return "kind=none";
    }
}

// A case for each option with a value. command: a pattern.
std::string ValueCases(const std::vector<OptionEntry>& options, const std::string& command)
{
    std::string cases;
    for (const OptionEntry& option : options) {
        if (option.value.empty())
            continue;
        std::vector<std::string> patterns;
        for (const std::string& name : option.names)
            patterns.push_back(command + "\" " + name + "\"");
        cases += "        " + JoinedBy(" | ", patterns) + ") " + KindText(option.completion) + " ;;\n";
    }
    return cases;
}

std::string NamesText(const CommandEntry& entry)
{
    std::string names;
    for (const OptionEntry& option : entry.options)
        names += " " + JoinedBy(" ", option.names);
    return names;
}

} // namespace

std::string BashCompletion(const ProgramEntry& program)
{
    std::vector<std::string> names;
    for (const CommandEntry& command : program.commands)
        names.push_back(command.name);
    std::string script = kHead;
    ReplaceMark(script, "@COMMANDS@", JoinedBy(" | ", names));

    script += "    case \"$command $previous\" in\n";
    for (const CommandEntry& command : program.commands)
        script += ValueCases(command.options, command.name);
    script += ValueCases(program.options, "*") + "    esac\n\n    case $command in\n";
    for (const CommandEntry& command : program.commands)
        script += "        " + command.name + ") options='" + NamesText(command) + "' ;;\n";
    script += "    esac\n    options+='" + NamesText(program) + "'\n";

    std::string arguments = "            '') kind=words words='" + JoinedBy(" ", names) + "' ;;\n";
    for (const CommandEntry& command : program.commands)
        if (!command.arguments.empty())
            arguments +=
                "            " + command.name + ") " + KindText(command.arguments.front().completion) + " ;;\n";
    std::string tail = kTail;
    ReplaceMark(tail, "@ARGUMENTS@", arguments);
    return script + tail;
}

} // namespace host
