#include "host/commands/PresetFile.h"

#include "host/base/ExitCode.h"
#include "host/base/Folder.h"
#include "host/base/PluginFolder.h"
#include "host/base/Suggestion.h"
#include "host/base/Text.h"
#include "host/commands/Completion.h"

#include <CLI/CLI.hpp>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>

namespace host
{

namespace
{

namespace fs = std::filesystem;

const char* const kEnding = ".conf";

constexpr size_t kMostBytes = 1 << 20;

// The user's own first.
std::vector<fs::path> PresetFolders()
{
    std::vector<fs::path> folders;
    const char* const config = std::getenv("XDG_CONFIG_HOME");
    const char* const home = std::getenv("HOME");
    if (config && *config)
        folders.push_back(fs::path(config) / "encmgr" / "presets");
    else if (home && *home)
        folders.push_back(fs::path(home) / ".config" / "encmgr" / "presets");
    const fs::path program = ProgramFolder();
    folders.push_back(program / "presets");
    // Installed, the program lies in bin, in lib/encmgr or in lib/<machine>/encmgr, and share where these begin.
    std::error_code unreadable;
    for (const char* const up : {"..", "../..", "../../.."})
        if (const fs::path shared = (program / up / "share/encmgr/presets").lexically_normal();
            fs::is_directory(shared, unreadable)) {
            folders.push_back(shared);
            break;
        }
    return folders;
}

// A word without dot and slash names a preset, anything else a file.
std::string PathOf(const std::string& name)
{
    if (name.find_first_of("./") != std::string::npos)
        return name;
    std::error_code unreadable;
    for (const fs::path& folder : PresetFolders())
        if (const fs::path path = folder / (name + kEnding); !name.empty() && fs::exists(path, unreadable))
            return path;
    std::vector<Known> known;
    std::string names;
    for (const std::string& preset : PresetNames()) {
        known.push_back({preset, preset});
        names += (names.empty() ? "" : ", ") + preset;
    }
    const std::string suggestion = DidYouMean(name, known);
    throw HostError(kExitUsage, Format("no preset is called \"%s\"; %s", name.c_str(),
                                       suggestion.empty() ? ("there are: " + (names.empty() ? "none" : names) +
                                                             " (the name of a file has a dot or a slash)")
                                                                .c_str()
                                                          : suggestion.c_str()));
}

// Pipes give their files once only, and some files never end.
std::string ReadAll(const std::string& path)
{
    std::error_code unreadable;
    std::ifstream file(path, std::ios::binary);
    if (!file || fs::is_directory(path, unreadable))
        throw HostError(kExitUsage, Format("can't open %s", path.c_str()));
    std::string text(kMostBytes + 1, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<size_t>(file.gcount()));
    if (text.size() > kMostBytes || text.find('\0') != std::string::npos)
        throw HostError(kExitUsage, Format("%s is no file with options", path.c_str()));
    return text.starts_with("\xEF\xBB\xBF") ? text.substr(3) : text; // a mark that some editors put in front of UTF-8
}

// The line without a comment, which begins with a "#" behind a blank and outside quotes.
std::string WithoutComment(const std::string& line)
{
    char quote = 0;
    for (size_t i = 0; i < line.size(); ++i) {
        if (line[i] == quote)
            quote = 0;
        else if (!quote && (line[i] == '"' || line[i] == '\''))
            quote = line[i];
        else if (!quote && line[i] == '#' && (i == 0 || line[i - 1] == ' ' || line[i - 1] == '\t'))
            return line.substr(0, i);
    }
    return line;
}

// What CLI11 takes for the same. It would see a comment in quotes, too, and passes over lines of less than three
// characters: the name of a flag, an option without its value.
std::string Prepared(const std::string& text)
{
    std::istringstream lines(text);
    std::string all;
    for (std::string line; std::getline(lines, line);) {
        line = CLI::detail::trim_copy(WithoutComment(line));
        if (!line.empty() && line.size() < 3 && line[0] != ';')
            line += line.find('=') == std::string::npos ? "=true" : "\"\"";
        all += line + "\n";
    }
    return all;
}

bool IsOn(const CLI::ConfigItem& flag)
{
    bool isOn = false;
    if (!CLI::detail::lexical_cast(flag.inputs.front(), isOn))
        throw CLI::ValidationError(flag.name, Format("\"%s\" is neither true nor false", flag.inputs.front().c_str()));
    return isOn;
}

// One file, and the command that it is for.
class PresetFile
{
public:
    PresetFile(CLI::App& command, const std::string& name) : m_command(command), m_path(PathOf(name))
    {
        for (CLI::Option* option : command.get_options())
            if (option->count() > 0)
                m_written.insert(option);
    }

    // Gives the options their values, as far as the command line hasn't.
    void Apply()
    {
        std::istringstream text(Prepared(ReadAll(m_path)));
        CLI::ConfigTOML reader;
        reader.comment('\0'); // comments are gone
        std::vector<CLI::ConfigItem> items;
        try {
            items = reader.from_config(text);
        } catch (const CLI::Error& error) {
            throw HostError(kExitUsage, m_path + ": " + error.what());
        }
        for (const CLI::ConfigItem& item : items)
            if (item.name != "++" && item.name != "--") // the borders of a section
                Take(item);
    }

private:
    void Take(const CLI::ConfigItem& item)
    {
        CLI::Option& option = OptionOf(item);
        if (item.inputs.size() != 1 || !m_taken.insert(&option).second)
            throw HostError(kExitUsage, Format("%s: \"%s\" has more than one value, or one with blanks or commas but "
                                               "without quotes",
                                               m_path.c_str(), item.name.c_str()));
        if (IsWritten(option))
            return;
        try {
            const bool isFlag = option.get_items_expected_max() == 0;
            if (isFlag && !IsOn(item))
                return;
            option.add_result(isFlag ? "true" : item.inputs.front());
            option.run_callback();
        } catch (const CLI::Error& error) {
            throw HostError(kExitUsage, m_path + ": " + error.what());
        }
    }

    CLI::Option& OptionOf(const CLI::ConfigItem& item) const
    {
        const bool isHere = item.parents.empty() || item.parents == std::vector{m_command.get_name()};
        CLI::Option* option = nullptr;
        for (const char* const dashes : {"--", "-", ""})
            if (isHere && !option)
                option = m_command.get_option_no_throw(dashes + item.name);
        if (option && option->get_configurable())
            return *option;
        std::vector<Known> known;
        for (const CLI::Option* other : m_command.get_options())
            if (other->get_configurable() && !other->get_lnames().empty())
                known.push_back({other->get_lnames().front(), other->get_lnames().front()});
        const std::string suggestion = DidYouMean(item.name, known);
        throw HostError(kExitUsage,
                        Format("%s: \"%s\" is no option of encmgr %s%s%s", m_path.c_str(), item.fullname().c_str(),
                               m_command.get_name().c_str(), suggestion.empty() ? "" : "; ", suggestion.c_str()));
    }

    // It, or what excludes it.
    bool IsWritten(CLI::Option& option) const
    {
        if (m_written.count(&option))
            return true;
        for (CLI::Option* const other : option.get_excludes())
            if (m_written.count(other))
                return true;
        return false;
    }

    CLI::App& m_command;
    std::string m_path;
    std::set<CLI::Option*> m_written; // on the command line
    std::set<CLI::Option*> m_taken;   // from the file
};

} // namespace

// The callbacks of a command's options come in the order in which they were added, when all of the command line has
// been read; what is missing is looked for afterwards.
void AddPresetOption(CLI::App& command)
{
    CLI::Option* const option = command.add_option_function<std::string>(
        "--config", [&command](const std::string& name) { PresetFile(command, name).Apply(); },
        "Take options from this preset or file; those written here win");
    option->type_name("PRESET|FILE")->configurable(false);
    SetCompletion(*option, {Completion::Kind::kListedOrFile, {"presets"}});
}

std::vector<std::string> PresetNames()
{
    std::set<std::string> names;
    for (const fs::path& folder : PresetFolders())
        for (const fs::path name : NamesIn(folder))
            if (name.extension() == kEnding)
                names.insert(name.stem());
    return {names.begin(), names.end()};
}

} // namespace host
