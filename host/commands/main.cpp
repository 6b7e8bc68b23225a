// encmgr: the command-line host.
#include "host/base/ExitCode.h"
#include "host/base/Interrupt.h"
#include "host/base/Messages.h"
#include "host/commands/CommandLine.h"

#include <cstdio>
#include <exception>

namespace
{

using namespace host;

// What was printed must have arrived.
int FlushOutput(int exitCode, Messages& messages)
{
    if (std::fflush(stdout) == 0 && !std::ferror(stdout))
        return exitCode;
    messages.Error("can't write to the standard output");
    return exitCode == kExitGood ? static_cast<int>(kExitJob) : exitCode;
}

} // namespace

int main(int argc, char** argv)
{
    Messages messages;
    try {
        CatchInterrupts();
        const CommandLine line = ParseCommandLine(argc, argv);
        messages.SetVolume(line.common.volume);
        if (!line.common.logFile.empty())
            messages.OpenLog(line.common.logFile);
        return FlushOutput(line.command ? line.command(line.common, messages) : kExitGood, messages);
    } catch (const HostError& error) {
        if (InterruptSignal()) {
            messages.Error("interrupted");
            return kExitSignal + InterruptSignal();
        }
        messages.Error(error.what());
        if (const std::string cause = messages.TakeMediaError(); error.Code() == kExitInput && !cause.empty())
            messages.Cause(cause);
        return error.Code();
    } catch (const std::exception& error) {
        messages.Error(error.what());
        return kExitJob;
    }
}
