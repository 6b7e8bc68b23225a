#include "host/base/Text.h"
#include "host/commands/Generate.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <sstream>

namespace host
{

namespace
{

// A dash as it is typed, and a backslash.
std::string Roff(const std::string& text)
{
    std::string roff;
    for (const char c : text)
        roff += c == '\\' ? std::string("\\e") : c == '-' ? std::string("\\-") : std::string(1, c);
    return roff;
}

// Lines of prose that editors show whole, none of which is a request of the formatter by chance. Ends with a line end.
std::string Prose(const std::string& text)
{
    constexpr size_t width = 78;
    std::istringstream words(Roff(text));
    std::string prose, line;
    for (std::string word; words >> word;) {
        if (!line.empty() && line.size() + 1 + word.size() > width) {
            prose += line + "\n";
            line.clear();
        }
        const bool isRequest = line.empty() && (word[0] == '.' || word[0] == '\'');
        line += (line.empty() ? "" : " ") + std::string(isRequest ? "\\&" : "") + word;
    }
    return prose + line + "\n";
}

std::string Bold(const std::string& text)
{
    return "\\fB" + Roff(text) + "\\fP";
}

std::string Italic(const std::string& text)
{
    return "\\fI" + Roff(text) + "\\fP";
}

const char* const kExitCodeHeading = "Exit codes:";

std::string Upper(std::string text)
{
    for (char& c : text)
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    return text;
}

// The day of the build; of the sources where SOURCE_DATE_EPOCH tells it, so that two builds give the same pages.
std::string DateText()
{
    const char* const epoch = std::getenv("SOURCE_DATE_EPOCH");
    const std::time_t now = epoch ? std::strtoll(epoch, nullptr, 10) : std::time(nullptr);
    std::tm parts = {};
    char text[32] = {};
    if (!gmtime_r(&now, &parts) || !std::strftime(text, sizeof(text), "%Y-%m-%d", &parts))
        return "1970-01-01";
    return text;
}

std::string PageName(const ProgramEntry& program, const CommandEntry* command)
{
    return program.name + (command ? "-" + command->name : "");
}

std::string NamesText(const OptionEntry& option)
{
    std::string text;
    for (const std::string& name : option.names)
        text += (text.empty() ? "" : ", ") + Bold(name);
    return text + (option.value.empty() ? "" : " " + Italic(option.value));
}

void WriteOption(std::string& page, const OptionEntry& option)
{
    page += ".TP\n" + NamesText(option) + "\n" + Prose(option.help + (option.isRequired ? ". Required." : "."));
}

// Each group under its heading, in the order of their first options.
void WriteOptions(std::string& page, const std::vector<OptionEntry>& options)
{
    if (options.empty())
        return;
    page += ".SH OPTIONS\n";
    std::vector<std::string> groups;
    for (const OptionEntry& option : options)
        if (std::find(groups.begin(), groups.end(), option.group) == groups.end())
            groups.push_back(option.group);
    for (const std::string& group : groups) {
        page += groups.size() > 1 ? ".SS " + Roff(group) + "\n" : "";
        for (const OptionEntry& option : options)
            if (option.group == group)
                WriteOption(page, option);
    }
}

// A line "  word   what it means" of a footer.
void WriteTableLine(std::string& page, const std::string& line)
{
    const size_t word = line.find_first_not_of(' ');
    const size_t end = std::min(line.find("  ", word), line.size());
    const size_t text = std::min(line.find_first_not_of(' ', end), line.size());
    page += ".TP\n" + Bold(line.substr(word, end - word)) + "\n" + Prose(line.substr(text));
}

// Paragraphs of prose and tables; the table of exit codes has a section of its own.
void WriteFooter(std::string& page, const std::string& footer)
{
    std::istringstream lines(footer);
    std::string line, paragraph;
    bool isFirst = true; // of its section
    const auto end = [&] {
        if (!paragraph.empty())
            page += (isFirst ? "" : ".PP\n") + Prose(paragraph);
        isFirst = isFirst && paragraph.empty();
        paragraph.clear();
    };
    if (!footer.empty() && !footer.starts_with(kExitCodeHeading))
        page += ".SH NOTES\n";
    while (std::getline(lines, line)) {
        if (line.empty() || line.starts_with("  ") || line == kExitCodeHeading)
            end();
        if (line == kExitCodeHeading)
            page += ".SH EXIT STATUS\n";
        else if (line.starts_with("  "))
            WriteTableLine(page, line);
        else if (!line.empty())
            paragraph += line + " ";
        isFirst = isFirst && !line.starts_with("  ");
    }
    end();
}

void WriteSynopsis(std::string& page, const ProgramEntry& program, const CommandEntry* command)
{
    page += ".SH SYNOPSIS\n" + Bold(program.name);
    if (!command) {
        page += " [" + Italic("OPTIONS") + "] " + Italic("COMMAND") + " ...\n";
        return;
    }
    page += " " + Bold(command->name) + " [" + Italic("OPTIONS") + "]";
    for (const OptionEntry& option : command->options)
        if (option.isRequired)
            page += " " + Bold(option.names.front()) + " " + Italic(option.value);
    for (const OptionEntry& argument : command->arguments)
        page +=
            argument.isRequired ? " " + Italic(argument.names.front()) : " [" + Italic(argument.names.front()) + "]";
    page += "\n";
}

// Every other page.
void WriteSeeAlso(std::string& page, const ProgramEntry& program, const CommandEntry* command)
{
    std::vector<std::string> pages;
    if (command)
        pages.push_back(Bold(program.name) + "(1)");
    for (const CommandEntry& other : program.commands)
        if (&other != command)
            pages.push_back(Bold(PageName(program, &other)) + "(1)");
    page += ".SH SEE ALSO\n" + JoinedBy(",\n", pages) + "\n";
}

} // namespace

std::string ManPage(const ProgramEntry& program, const CommandEntry* command, const std::string& version)
{
    const CommandEntry& entry = command ? *command : program;
    std::string page =
        Format(".TH %s 1 %s \"%s %s\" \"User Commands\"\n", Roff(Upper(PageName(program, command))).c_str(),
               DateText().c_str(), program.name.c_str(), version.c_str());
    page += ".SH NAME\n" + Roff(PageName(program, command)) + " \\- ";
    page += Prose(command ? entry.help : "turns media files into finished files");
    WriteSynopsis(page, program, command);
    page += ".SH DESCRIPTION\n" + Prose(entry.help + (entry.help.ends_with('.') ? "" : "."));
    for (const OptionEntry& argument : entry.arguments)
        WriteOption(page, argument);
    if (command) {
        page += ".PP\nThe options of\n.BR " + Roff(program.name) + " (1)\nmay stand here as well.\n";
    } else {
        page += ".SH COMMANDS\n";
        for (const CommandEntry& each : program.commands)
            page += ".TP\n" + Bold(each.name) + "\n" + Prose(each.help + "; see") + ".BR " +
                    Roff(PageName(program, &each)) + " (1).\n";
    }
    WriteOptions(page, entry.options);
    WriteFooter(page, entry.footer);
    WriteSeeAlso(page, program, command);
    return page;
}

} // namespace host
