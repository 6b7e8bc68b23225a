#include "host/job/Plugins.h"

#include "encmgr/EncMgr.h"
#include "host/base/ExitCode.h"
#include "host/base/Messages.h"
#include "host/base/Text.h"
#include "log/Log.h"
#include "text/Strings.h"

namespace host
{

namespace
{

void SetFolder(const std::string& folder)
{
    const auto wide = text::WideFromUtf8(folder);
    if (!wide)
        throw HostError(kExitUsage, "--plugins: the folder's name isn't UTF-8");
    KXLogSetAppPath(wide->c_str());
}

} // namespace

Plugins::Plugins(const std::string& folder, Messages& messages) : m_messages(messages), m_mark(messages.Mark())
{
    if (!folder.empty())
        SetFolder(folder);
    const bool isFolderRead = FCInitPlugins() != 0;
    if (const FILEFORMAT_INFO* const formats = FCGetFileFormatInfos()) {
        m_catalogue = Catalogue(formats);
        return;
    }
    WarnOfRefused();
    FCUninitPlugins();
    throw HostError(kExitPlugins, Format(isFolderRead ? "the folder PlugIns %s holds no plug-in with a file format"
                                                      : "there is no folder PlugIns %s",
                                         folder.empty() ? "beside the program" : ("in " + folder).c_str()));
}

Plugins::~Plugins()
{
    FCUninitPlugins();
}

// The library marks these lines of its log for people to see; nothing else hangs on them.
void Plugins::WarnOfRefused() const
{
    if (m_messages.GetVolume() == Volume::kVerbose)
        return; // they have been printed with the whole log
    for (const std::string& line : m_messages.LinesSince(m_mark))
        if (line.starts_with("***"))
            m_messages.Warn(line);
}

} // namespace host
