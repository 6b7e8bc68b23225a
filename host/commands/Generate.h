// Man pages and completions, made from the table of commands, so that they never lag behind.
#ifndef ENCMGR_HOST_GENERATE_H
#define ENCMGR_HOST_GENERATE_H

#include "host/commands/CommandTable.h"

#include <string_view>

namespace host
{

// The page of a command, or for null that of the program, in the macros of man(7). version is that of the program.
std::string ManPage(const ProgramEntry& program, const CommandEntry* command, const std::string& version);

// Scripts for the shells. They call the program for what its plug-ins and the user's files decide.
std::string BashCompletion(const ProgramEntry& program);
std::string ZshCompletion(const ProgramEntry& program);
std::string FishCompletion(const ProgramEntry& program);

// The text with before in front of each of the characters.
inline std::string Escaped(std::string_view text, std::string_view characters, std::string_view before = "\\")
{
    std::string escaped;
    for (const char c : text) {
        if (characters.find(c) != std::string_view::npos)
            escaped += before;
        escaped += c;
    }
    return escaped;
}

inline std::string JoinedBy(std::string_view separator, const std::vector<std::string>& parts)
{
    std::string text;
    for (const std::string& part : parts)
        text += (&part == &parts.front() ? "" : std::string(separator)) + part;
    return text;
}

} // namespace host

#endif // ENCMGR_HOST_GENERATE_H
