#include "host/validate/CheckRunner.h"

#include "host/base/ExitCode.h"
#include "host/base/Json.h"
#include "host/base/Messages.h"
#include "host/base/PluginGuard.h"
#include "host/base/Text.h"
#include "host/validate/ChildProcess.h"
#include "host/validate/StepNote.h"
#include "host/validate/TemporaryFolder.h"

#include <cstring>
#include <filesystem>
#include <fstream>

namespace host
{

namespace
{

constexpr const char* kResultFile = "/result.json";
constexpr const char* kStepFile = "/step";
constexpr const char* kErrorsFile = "/errors";
constexpr const char* kWorkFolder = "/work"; // all that the plug-in gets to see

CheckResult RunHere(const Check& check, const Subject& subject)
{
    Verdict verdict;
    try {
        check.run(subject, verdict);
    } catch (const std::exception& error) {
        verdict.Fail(error.what());
    }
    return {&check, verdict.Worst(), verdict.Texts()};
}

std::string LastLineOf(const std::string& file)
{
    std::ifstream stream(file);
    std::string last;
    for (std::string line; std::getline(stream, line);)
        if (!line.empty() && !line.starts_with("encmgr: error: ")) // the guard's own
            last = line;
    return last;
}

// What became of a child that has left no result.
std::string EndText(const ChildEnd& end, const RunOptions& options, const std::string& folder)
{
    std::string text;
    if (end.isTimedOut) {
        text = Format("it hasn't come back within %d ms", static_cast<int>(options.time.count()));
    } else if (end.signal) {
        const char* const name = sigabbrev_np(end.signal);
        text = Format("it has crashed (SIG%s)", name ? name : "?");
    } else {
        text = "it has ended the program";
    }
    if (const std::string step = ReadStepNote(folder + kStepFile); !step.empty())
        text += " while " + step;
    const std::string said = options.showsStreams || end.isTimedOut ? "" : LastLineOf(folder + kErrorsFile);
    return said.empty() ? text : text + ": " + said;
}

CheckResult ResultOf(const Check& check, const std::string& file)
{
    std::ifstream stream(file);
    const Json json = Json::parse(stream);
    CheckResult result = {&check, static_cast<Outcome>(json.at("outcome").get<int>()), {}};
    for (const Json& text : json.at("texts"))
        result.texts.push_back(text.get<std::string>());
    return result;
}

} // namespace

CheckResult RunCheck(const Check& check, const std::string& file, const RunOptions& options, Messages& messages)
{
    const TemporaryFolder folder;
    const std::string work = folder.Path() + kWorkFolder;
    std::filesystem::create_directory(work);
    if (options.inProcess)
        return RunHere(check, {file, work, options.seed, options.time, messages});

    std::vector<std::string> arguments = {"validate",
                                          "--run-check",
                                          check.id,
                                          "--folder",
                                          folder.Path(),
                                          "--seed",
                                          std::to_string(options.seed),
                                          "--timeout-ms",
                                          std::to_string(options.time.count()),
                                          "--",
                                          file};
    if (options.showsStreams)
        arguments.insert(arguments.begin(), "-v");
    const ChildEnd end =
        RunSelf(arguments, options.time, "/dev/null", options.showsStreams ? "" : folder.Path() + kErrorsFile);
    if (!end.isTimedOut && !end.signal && end.exitCode == kExitGood &&
        std::filesystem::exists(folder.Path() + kResultFile))
        return ResultOf(check, folder.Path() + kResultFile);
    return {&check, Outcome::kCrashed, {EndText(end, options, folder.Path())}};
}

void RunCheckAsChild(const std::string& id, const std::string& file, const std::string& folder,
                     const RunOptions& options, Messages& messages)
{
    NoteStepsIn(folder + kStepFile);
    for (const Check& check : AllChecks()) {
        if (check.id != id)
            continue;
        const CheckResult result = RunHere(check, {file, folder + kWorkFolder, options.seed, options.time, messages});
        std::ofstream(folder + kResultFile)
            << JsonLine({{"outcome", static_cast<int>(result.outcome)}, {"texts", result.texts}});
        EndNow(kExitGood);
    }
    EndNow(kExitUsage);
}

} // namespace host
