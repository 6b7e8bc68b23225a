// encmgr: the command-line host.
#include "Common/StandardStreams.h"
#include "host/base/ExitCode.h"
#include "host/base/Interrupt.h"
#include "host/base/Messages.h"
#include "host/base/PluginGuard.h"
#include "host/base/Termination.h"
#include "host/base/WriteError.h"
#include "host/commands/CommandLine.h"

#include <cerrno>
#include <cstdio>
#include <exception>

namespace
{

using namespace host;

// What was printed must have arrived.
int FlushOutput(int exitCode, Messages& messages)
{
    errno = 0;
    if (std::fflush(stdout) == 0 && !std::ferror(stdout))
        return exitCode;
    const int error = WriteErrorOf(errno);
    messages.Error("can't write to the standard output" + (error ? ": " + WriteErrorText(error) : ""));
    return exitCode != kExitGood ? exitCode : static_cast<int>(error ? kExitWrite : kExitJob);
}

int RunProgram(int argc, char** argv)
{
    Messages messages;
    try {
        CatchInterrupts();
        const CommandLine line = ParseCommandLine(argc, argv);
        messages.SetVolume(line.common.volume);
        if (!line.common.logFile.empty())
            messages.OpenLog(line.common.logFile);
        return FlushOutput(line.command ? line.command(line.common, messages) : kExitGood, messages);
    } catch (const std::exception& error) {
        const auto [exitCode, text] = ExitOf(error);
        if (InterruptSignal() && exitCode != kExitInternal) {
            messages.Error("interrupted");
            return kExitSignal + InterruptSignal();
        }
        messages.Error(text);
        if (const std::string cause = messages.TakeMediaError(); exitCode == kExitInput && !cause.empty())
            messages.Cause(cause);
        return exitCode;
    }
}

} // namespace

int main(int argc, char** argv)
{
    OpenStandardStreams();
    CatchTermination();
    GuardAgainstPlugins();
    const int exitCode = RunProgram(argc, argv);
    EndGuard();
    return exitCode;
}
