#include "host/commands/JobGuard.h"

#include "host/base/ExitCode.h"
#include "host/base/Text.h"

#include <algorithm>

namespace host
{

namespace
{

// What the library and its plug-ins have logged to an error. Lines that are known to say nothing on it are left out:
// the log is for people, and nothing else hangs on its words.
void PrintCauses(const std::vector<std::string>& log, Messages& messages)
{
    constexpr const char* ordinary[] = {"PluginMgr::Create File",          "MediaFile::Create Fail",
                                        "Fail to create the file",         "Fill Blank Audio Data",
                                        "Throw away Audio Data",           "No video encoder for file format",
                                        "No audio encoder for file format"};
    for (const std::string& line : log)
        if (std::none_of(std::begin(ordinary), std::end(ordinary),
                         [&line](const char* start) { return line.starts_with(start); }))
            messages.Cause(line);
}

// Takes a failed file away, or says what is left.
void CleanUp(OutputFile& output, Messages& messages)
{
    if (!output.RemoveIfNew() && output.IsPlainFile())
        messages.Error(Format("%s has been overwritten and is no good file", output.Path().c_str()));
}

} // namespace

int GuardJob(OutputFile& output, Messages& messages, const std::function<int()>& run)
{
    const uint64_t mark = messages.Mark();
    try {
        return run();
    } catch (const std::exception& error) {
        const auto* const ending = dynamic_cast<const HostError*>(&error);
        const int exitCode = ending ? ending->Code() : static_cast<int>(kExitJob);
        messages.Error(error.what());
        if (const std::string cause = messages.TakeMediaError(); exitCode == kExitInput && !cause.empty())
            messages.Cause(cause);
        PrintCauses(messages.LinesSince(mark), messages);
        CleanUp(output, messages);
        return exitCode;
    }
}

} // namespace host
