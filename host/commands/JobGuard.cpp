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
    if (!output.Discard() && output.IsPlainFile())
        messages.Error(Format("%s has been overwritten and is no good file", output.Path().c_str()));
}

} // namespace

void LeaveOutLost(JobPlan& plan, const Streams& made, Messages& messages, uint64_t mark)
{
    const bool isVideoLost = plan.hasVideo && !made.video;
    if (!isVideoLost && (!plan.hasAudio || made.audio))
        return;
    const char* const lost = isVideoLost ? "video" : "audio";
    messages.Warn(Format("the %s encoder can't be set up; the file gets no %s", lost, lost));
    if (messages.GetVolume() != Volume::kQuiet)
        PrintCauses(messages.LinesSince(mark), messages);
    plan.hasVideo = made.video;
    plan.hasAudio = made.audio;
}

CloseReport RunToClose(const std::function<void()>& run, JobWriter& writer, Tally& tally, Progress& progress,
                       Report& report, const JobPlan& plan, const OutputFile& output)
{
    try {
        run();
        const CloseReport closing = writer.Close();
        tally.Close();
        progress.End(tally);
        return closing;
    } catch (...) {
        report.SetResult(tally, plan, output);
        throw;
    }
}

int GuardJob(OutputFile& output, Report& report, Messages& messages, const std::function<int()>& run)
{
    const uint64_t mark = messages.Mark();
    try {
        return run();
    } catch (const std::exception& error) {
        const auto [exitCode, text] = ExitOf(error);
        messages.Error(text);
        if (const std::string cause = messages.TakeMediaError(); exitCode == kExitInput && !cause.empty())
            messages.Cause(cause);
        PrintCauses(messages.LinesSince(mark), messages);
        CleanUp(output, messages);
        report.ForgetOutput();
        return exitCode;
    }
}

} // namespace host
