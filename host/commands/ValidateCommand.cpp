// "encmgr validate": looks whether plug-ins keep the rules.
#include "host/base/ExitCode.h"
#include "host/base/Json.h"
#include "host/base/Text.h"
#include "host/commands/Arguments.h"
#include "host/commands/Commands.h"
#include "host/validate/PluginReport.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <regex>

namespace host
{

namespace
{

constexpr int kShippable = 5; // the level that a plug-in should pass when it is given to others

struct ValidateOptions {
    std::vector<std::string> files;
    int strictness = kShippable;
    std::string only, without; // expressions that ids are searched for; empty: none
    bool isJson = false;
    bool onlyFailed = false;
    bool inProcess = false;
    bool listsChecks = false;
    uint64_t seed = 1;
    int timeLimit = 60000; // milliseconds
    // Of a child.
    std::string runCheck, folder;
};

std::optional<std::regex> Expression(const char* option, const std::string& text)
{
    if (text.empty())
        return std::nullopt;
    try {
        return std::regex(text, std::regex::extended);
    } catch (const std::regex_error&) {
        throw HostError(kExitUsage, Format("%s: \"%s\" isn't a regular expression", option, text.c_str()));
    }
}

struct ChosenCheck {
    const Check* check;
    bool isAsked; // else it is only told of if it fails
};

// Before anything is loaded, the file is looked at in any case, unless -x says otherwise.
std::vector<ChosenCheck> ChosenChecks(const ValidateOptions& options)
{
    const auto only = Expression("-t", options.only), without = Expression("-x", options.without);
    std::vector<ChosenCheck> chosen;
    bool isAnyAsked = false;
    for (const Check& check : AllChecks()) {
        const bool isAsked = !only || std::regex_search(check.id, *only);
        if (check.level > options.strictness || (without && std::regex_search(check.id, *without)) ||
            !(isAsked || (check.isGate && check.stage < Stage::kResolved)))
            continue;
        chosen.push_back({&check, isAsked});
        isAnyAsked |= isAsked;
    }
    if (!isAnyAsked)
        throw HostError(kExitUsage, "no check is left; --list shows them all");
    return chosen;
}

PluginReport Validate(const std::string& file, std::span<const ChosenCheck> checks, const RunOptions& options,
                      Messages& messages)
{
    PluginReport report = {file, {}};
    const std::string path = std::filesystem::absolute(file).lexically_normal().string();
    Stage last = Stage::kJobs;     // that holds
    const Check* failed = nullptr; // where the next didn't
    for (const auto& [check, isAsked] : checks) {
        if (check->stage > last) {
            if (isAsked)
                report.results.push_back({check, Outcome::kSkipped, {Format("it needs %s to pass", failed->id)}});
            continue;
        }
        const CheckResult result = RunCheck(*check, path, options, messages);
        if (check->isGate && result.outcome >= Outcome::kFailed && check->stage < last) {
            last = check->stage;
            failed = check;
        }
        if (isAsked || result.outcome >= Outcome::kFailed)
            report.results.push_back(result);
    }
    return report;
}

int ListChecksOf(const ValidateOptions& options)
{
    for (const auto& [check, isAsked] : ChosenChecks(options))
        if (isAsked)
            std::printf("%2d  %-20s  %s\n", check->level, check->id, check->sentence);
    return kExitGood;
}

int RunValidate(const ValidateOptions& options, const CommonOptions& common, Messages& messages)
{
    const RunOptions run = {options.seed, std::chrono::milliseconds(options.timeLimit), options.inProcess,
                            common.volume == Volume::kVerbose};
    if (!options.runCheck.empty())
        RunCheckAsChild(options.runCheck, options.files.front(), options.folder, run, messages);
    if (options.listsChecks)
        return ListChecksOf(options);
    if (options.files.empty())
        throw HostError(kExitUsage, "validate: no FILE is given");

    const auto checks = ChosenChecks(options);
    const Shown shown = options.onlyFailed                                    ? Shown::kFailed
                        : common.volume == Volume::kVerbose || options.isJson ? Shown::kAll
                                                                              : Shown::kNotPassed;
    Json files = Json::array();
    int exitCode = kExitGood;
    for (const std::string& file : options.files) {
        const PluginReport report = Validate(file, checks, run, messages);
        if (report.Worst() >= Outcome::kFailed)
            exitCode = kExitJob;
        if (options.isJson)
            files.push_back(ReportJson(report, shown));
        else
            std::fputs(ReportText(report, shown).c_str(), stdout);
        std::fflush(stdout);
    }
    if (options.isJson)
        std::fputs(JsonText({{"schema", "encmgr.validate"},
                             {"schemaVersion", 1},
                             {"strictness", options.strictness},
                             {"seed", options.seed},
                             {"files", files}})
                       .c_str(),
                   stdout);
    return exitCode;
}

} // namespace

void AddValidateCommand(CLI::App& program, Run& chosen)
{
    CLI::App* const command = program.add_subcommand("validate", "Look whether plug-ins keep the rules");
    const auto options = std::make_shared<ValidateOptions>();
    AddInteger(
        *command, "--strictness", options->strictness, {1, 10}, "a level from 1 to 10",
        "Checks up to this level: 5 is what a plug-in should pass when it is given to others, 10 is all (default: "
        "5)")
        ->type_name("LEVEL");
    command->add_option("-t,--only", options->only, "Only the checks whose id matches")->type_name("REGEX");
    command->add_option("-x,--without", options->without, "Leave out the checks whose id matches")->type_name("REGEX");
    command->add_flag("--json", options->isJson, "Print JSON, for programs");
    command->add_flag("--only-failed", options->onlyFailed, "Show what failed or crashed alone");
    command->add_flag("--in-process", options->inProcess, "Run the checks in this very process, for a debugger");
    command->add_flag("--list", options->listsChecks, "Print the checks instead, with their levels");
    AddInteger(*command, "--seed", options->seed, {0, INT64_MAX}, "a whole number",
               "What random jobs are drawn from: the same jobs for the same number (default: 1)")
        ->type_name("N");
    AddInteger(*command, "--timeout-ms", options->timeLimit, {1, 86'400'000}, "a number of milliseconds",
               "How long one check may take (default: 60000)")
        ->type_name("N");
    command->add_option("--run-check", options->runCheck)->group("");
    command->add_option("--folder", options->folder)->group("");
    CLI::Option* const files = command->add_option("FILE", options->files, "Plug-ins, each a file")->type_name("");
    SetCompletion(*files, {Completion::Kind::kFile, {}});
    command->footer("Each check runs in a process of its own. Exit code 0 says that none has failed, 1 that one has.");
    command->callback([options, &chosen] {
        chosen = [options](const CommonOptions& common, Messages& messages) {
            return RunValidate(*options, common, messages);
        };
    });
}

} // namespace host
