// "encmgr generate": for the build and for shells, hidden from help. Prints man pages, completions and what these
// offer.
#include "host/base/ExitCode.h"
#include "host/base/Text.h"
#include "host/commands/Commands.h"
#include "host/commands/Generate.h"
#include "host/commands/PresetFile.h"
#include "host/job/Plugins.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>

namespace host
{

namespace
{

struct GenerateOptions {
    std::string what;
    std::string name; // of a command, or of a folder
};

const CommandEntry* CommandNamed(const ProgramEntry& program, const std::string& name)
{
    for (const CommandEntry& command : program.commands)
        if (command.name == name)
            return &command;
    return nullptr;
}

void WriteText(const std::filesystem::path& path, const std::string& text)
{
    std::filesystem::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file)
        throw HostError(kExitOutput, Format("can't write %s", path.c_str()));
}

// Where each shell and man look for them below share/.
void WriteAll(const ProgramEntry& program, const std::filesystem::path& share)
{
    const auto man = share / "man" / "man1";
    WriteText(man / (program.name + ".1"), ManPage(program, nullptr, ENCMGR_VERSION));
    for (const CommandEntry& command : program.commands)
        WriteText(man / (program.name + "-" + command.name + ".1"), ManPage(program, &command, ENCMGR_VERSION));
    WriteText(share / "bash-completion" / "completions" / program.name, BashCompletion(program));
    WriteText(share / "zsh" / "site-functions" / ("_" + program.name), ZshCompletion(program));
    WriteText(share / "fish" / "vendor_completions.d" / (program.name + ".fish"), FishCompletion(program));
}

// FourCCs, each once.
std::string ListedText(const std::string& what, const Catalogue& catalogue)
{
    std::set<std::string> words;
    for (const FILEFORMAT_INFO* format : catalogue.Formats()) {
        if (what == "formats")
            words.insert(FourCCText(format->dwFourCC));
        else
            for (const ENCODER_INFO* encoder :
                 what == "video-encoders" ? VideoEncodersOf(*format) : AudioEncodersOf(*format))
                words.insert(FourCCText(encoder->dwFourCC));
    }
    return JoinedBy("\n", {words.begin(), words.end()}) + "\n";
}

std::string CommandsText(const ProgramEntry& program)
{
    std::string text;
    for (const CommandEntry& command : program.commands)
        text += command.name + "\n";
    return text;
}

std::string TextOf(const GenerateOptions& options, const ProgramEntry& program, const CommonOptions& common,
                   Messages& messages)
{
    const std::string& what = options.what;
    if (what == "man") {
        const CommandEntry* const command = CommandNamed(program, options.name);
        if (!options.name.empty() && !command)
            throw HostError(kExitUsage, Format("no command is called \"%s\"", options.name.c_str()));
        return ManPage(program, command, ENCMGR_VERSION);
    }
    if (what == "bash")
        return BashCompletion(program);
    if (what == "zsh")
        return ZshCompletion(program);
    if (what == "fish")
        return FishCompletion(program);
    if (what == "commands")
        return CommandsText(program);
    if (what == "presets")
        return JoinedBy("\n", PresetNames()) + "\n";
    if (what == "formats" || what == "video-encoders" || what == "audio-encoders")
        return ListedText(what, Plugins(common.pluginsFolder, messages).GetCatalogue());
    throw HostError(kExitUsage, Format("\"%s\" can't be generated; there are: man, bash, zsh, fish, all, commands, "
                                       "presets, formats, video-encoders, audio-encoders",
                                       what.c_str()));
}

int RunGenerate(const GenerateOptions& options, const ProgramEntry& program, const CommonOptions& common,
                Messages& messages)
{
    if (options.what == "all" && !options.name.empty())
        WriteAll(program, options.name);
    else
        std::fputs(TextOf(options, program, common, messages).c_str(), stdout);
    return kExitGood;
}

} // namespace

void AddGenerateCommand(CLI::App& program, Run& chosen)
{
    CLI::App* const command = program.add_subcommand("generate", "Print a man page or a shell's completion");
    command->group("");
    const auto options = std::make_shared<GenerateOptions>();
    command->add_option("WHAT", options->what, "man, bash, zsh, fish, all")->required()->type_name("");
    command->add_option("NAME", options->name, "The command of the man page; the folder for all")->type_name("");
    command->callback([options, &program, &chosen] {
        chosen = [options, table = TableOf(program)](const CommonOptions& common, Messages& messages) {
            return RunGenerate(*options, table, common, messages);
        };
    });
}

} // namespace host
