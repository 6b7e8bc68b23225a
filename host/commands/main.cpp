// encmgr: the command-line host.
#include "encmgr/EncMgr.h"
#include "host/base/ExitCode.h"
#include "host/base/Interrupt.h"
#include "host/base/Messages.h"
#include "host/base/Text.h"
#include "host/commands/ConvertCommand.h"
#include "host/commands/EncodeCommand.h"
#include "host/commands/Options.h"
#include "host/job/Catalogue.h"
#include "log/Log.h"
#include "text/Strings.h"

#include <cstdio>
#include <exception>

namespace
{

using namespace host;

// The plug-ins are loaded for as long as this lives.
class PluginSession
{
public:
    PluginSession() { m_isFolderRead = FCInitPlugins() != 0; }
    ~PluginSession() { FCUninitPlugins(); }
    PluginSession(const PluginSession&) = delete;
    PluginSession& operator=(const PluginSession&) = delete;

    bool IsFolderRead() const { return m_isFolderRead; }

private:
    bool m_isFolderRead;
};

void SetPluginsFolder(const std::string& folder)
{
    if (folder.empty())
        return;
    const auto wide = text::WideFromUtf8(folder);
    if (!wide)
        throw HostError(kExitUsage, "--plugins: the folder's name isn't UTF-8");
    KXLogSetAppPath(wide->c_str());
}

// Refused plug-ins are worth a warning where plug-ins are looked at, or missed.
void WarnOfRefusedPlugins(Messages& messages, uint64_t mark)
{
    if (messages.GetVolume() != Volume::kVerbose)
        for (const std::string& line : messages.LinesSince(mark))
            if (line.starts_with("***"))
                messages.Warn(line);
}

int RunCommand(const Options& options, Messages& messages)
{
    if (options.command == Command::kConvert)
        return RunConvert(options.convert, messages); // needs no plug-ins
    SetPluginsFolder(options.pluginsFolder);
    const uint64_t mark = messages.Mark();
    const PluginSession session;
    const FILEFORMAT_INFO* const formats = session.IsFolderRead() ? FCGetFileFormatInfos() : nullptr;
    if (options.command == Command::kList || !formats)
        WarnOfRefusedPlugins(messages, mark);
    if (!formats) {
        const std::string folder = options.pluginsFolder.empty() ? "beside the program" : "in " + options.pluginsFolder;
        throw HostError(kExitPlugins,
                        Format(session.IsFolderRead() ? "the folder PlugIns %s holds no plug-in with a file format"
                                                      : "there is no folder PlugIns %s",
                               folder.c_str()));
    }
    const Catalogue catalogue(formats);
    if (options.command == Command::kEncode)
        return RunEncode(options.encode, catalogue, messages);
    catalogue.Print();
    return kExitGood;
}

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
        Options options;
        const auto ending = ParseOptions(argc, argv, options);
        messages.SetVolume(options.volume);
        return FlushOutput(ending ? *ending : RunCommand(options, messages), messages);
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
