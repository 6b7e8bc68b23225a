#include "host/commands/CommandLine.h"

#include "host/base/ExitCode.h"
#include "host/base/Text.h"
#include "host/commands/CommandTable.h"
#include "host/commands/Unexpected.h"

#include <CLI/CLI.hpp>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace host
{

namespace
{

constexpr void (*kCommands[])(CLI::App&, Run&) = {
    AddListCommand,   AddEncodeCommand, AddConvertCommand,
#ifdef ENCMGR_RECORD
    AddRecordCommand,
#endif
    AddViewCommand,   AddProbeCommand,  AddValidateCommand, AddHelpCommand, AddGenerateCommand,
};

std::string VersionText()
{
    const auto version = [](const char* name, unsigned number) {
        return Format("%s %u.%u.%u", name, AV_VERSION_MAJOR(number), AV_VERSION_MINOR(number),
                      AV_VERSION_MICRO(number));
    };
    return Format("encmgr %s (%s, %s)", ENCMGR_VERSION, version("libavformat", avformat_version()).c_str(),
                  version("libavcodec", avcodec_version()).c_str());
}

void AddCommonOptions(CLI::App& program, CommonOptions& common)
{
    const auto volume = [&program, &common](const char* names, Volume value, const char* help) {
        return program.add_flag_callback(
            names, [&common, value] { common.volume = value; }, help);
    };
    CLI::Option* const quiet = volume("-q,--quiet", Volume::kQuiet, "Print errors alone");
    volume("-v,--verbose", Volume::kVerbose, "Print the logs of the library and of libav, too")->excludes(quiet);
    program.add_option("--log", common.logFile, "Add everything that happens to the end of this file, with the time")
        ->type_name("FILE");
    program
        .add_option("--plugins", common.pluginsFolder,
                    "Use the plug-ins in this folder or its PlugIns, not those beside the program (default: "
                    "$ENCMGR_PLUGINS)")
        ->type_name("DIR")
        ->envname("ENCMGR_PLUGINS");
}

} // namespace

const char* const kExitCodeHelp = R"(Exit codes:
  0    a good file was written
  1    the job failed
  2    bad usage: unknown option, format or encoder, or a bad value
  3    the input can't be opened or decoded, or breaks off
  4    the output can't be created, or exists and -y isn't given
  5    no plug-ins were found
  6    a write was refused, as when the disk is full; it may pass
  7    a stream would be lost, since its encoder can't be set up
  8    the input's clock breaks --max-gap or --strict-cfr
  9    an internal error, or no memory is left
  10   a plug-in ended the program, or didn't come back from being loaded
  11   fewer pictures came than --expect-frames
  130  interrupted by Ctrl-C; the file is finished up to there
After 1 to 9, and 11, nothing is left of a new file, and an old one is as it was; 3 may leave
the part of an input that broke off.
)";

CommandLine ParseCommandLine(int argc, char** argv)
{
    CommandLine line;
    CLI::App program("Turns media files, or a test card, into finished files through the encoders and file formats of "
                     "its plug-ins.",
                     "encmgr");
    program.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    program.set_version_flag("--version", VersionText(), "Print the version and end");
    AddCommonOptions(program, line.common);
    program.require_subcommand(0, 1);
    program.fallthrough();
    program.footer(std::string("\"encmgr help encode\" shows the options of encode, and so on.\n\n") + kExitCodeHelp);
    for (const auto add : kCommands)
        add(program, line.command);

    try {
        program.parse(argc, argv);
    } catch (const CLI::Success& ending) {
        program.exit(ending);
        return {};
    } catch (const CLI::ValidationError& refusal) {
        throw HostError(kExitUsage, refusal.what());
    } catch (const CLI::ParseError& error) {
        const std::string suggestion = SuggestionForUnexpected(program);
        throw HostError(kExitUsage, std::string(error.what()) + "; " +
                                        (suggestion.empty() ? "--help shows what there is" : suggestion));
    }
    if (!line.command) {
        std::string names;
        for (const CLI::App* command : VisibleCommands(program))
            names += command->get_name() + ", ";
        throw HostError(kExitUsage, "no command; there are " + names + "and --help");
    }
    return line;
}

} // namespace host
