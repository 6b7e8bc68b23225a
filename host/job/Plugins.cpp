#include "host/job/Plugins.h"

#include "encmgr/EncMgr.h"
#include "host/base/ExitCode.h"
#include "host/base/Folder.h"
#include "host/base/Messages.h"
#include "host/base/PluginFolder.h"
#include "host/base/Text.h"
#include "host/job/LoadWatch.h"
#include "plugin_host/PluginMgr.h"
#include "text/Strings.h"

#include <algorithm>

namespace host
{

namespace
{

// What people call a shared library, on any system, without a plug-in's name.
bool IsMisnamed(const std::string& name)
{
    const std::string lower = Lower(name);
    const bool isLibrary = lower.ends_with(".so") || lower.find(".so.") != std::string::npos ||
                           lower.ends_with(".dll") || lower.ends_with(".dylib");
    return isLibrary && !IsPluginName(name);
}

void WarnOfMisnamed(const std::string& folder, Messages& messages)
{
    for (const std::string& name : NamesIn(folder))
        if (IsMisnamed(name))
            messages.Warn(
                Format("%s isn't loaded: the names of plug-ins begin with \"wp\" and end in \".dylib\"", name.c_str()));
}

// Of several items with one FourCC, jobs take the first.
template <class Item> void WarnOfHidden(const std::vector<Item>& items, const char* kind, Messages& messages)
{
    for (auto item = items.begin(); item != items.end(); ++item) {
        const auto first =
            std::find_if(items.begin(), item, [item](const Item& other) { return other.dwFourCC == item->dwFourCC; });
        if (first != item)
            messages.Warn(Format("the %s \"%s\" is hidden by \"%s\", which has the same FourCC, %s", kind,
                                 text::ShownUtf8(item->szName).c_str(), text::ShownUtf8(first->szName).c_str(),
                                 FourCCText(item->dwFourCC).c_str()));
    }
}

} // namespace

Plugins::Plugins(const std::string& folder, Messages& messages)
    : m_messages(messages), m_folder(PluginFolder(folder)), m_mark(messages.Mark())
{
    UsePluginFolder(folder);
    const bool isFolderRead = [&messages] {
        const LoadWatch watch(messages);
        return FCInitPlugins() != 0;
    }();
    m_catalogue = Catalogue(FCGetFileFormatInfos());
    if (!m_catalogue.Formats().empty())
        return;
    WarnOfUnusable();
    FCUninitPlugins();
    throw HostError(
        kExitPlugins,
        isFolderRead
            ? Format("the folder %s holds no plug-in with a file format and an encoder for it", m_folder.c_str())
            : Format("there is no folder PlugIns %s",
                     folder.empty() ? "beside the program"
                                    : ("in " + folder + ", nor are there plug-ins, wp*.dylib").c_str()));
}

Plugins::~Plugins()
{
    const LoadWatch watch(m_messages);
    FCUninitPlugins();
}

bool Plugins::IsSequence(KXDWORD format)
{
    const auto& items = PluginMgr::m_arFileFormat;
    const auto found =
        std::find_if(items.begin(), items.end(), [format](const auto& item) { return item.dwFourCC == format; });
    return found != items.end() && found->dwFlags & FFF_SEQUENCE;
}

void Plugins::WarnOfUnusable() const
{
    WarnOfRefused();
    WarnOfMisnamed(m_folder, m_messages);
    WarnOfHidden(PluginMgr::m_arFileFormat, "file format", m_messages);
    WarnOfHidden(PluginMgr::m_arEncoder, "encoder", m_messages);
}

// The library marks these lines of its log for people to see, and the loader's reason is the line behind; nothing else
// hangs on them.
void Plugins::WarnOfRefused() const
{
    if (m_messages.GetVolume() == Volume::kVerbose)
        return; // they have been printed with the whole log
    constexpr std::string_view mark = "***", failed = "***Failed to Load Plugin";
    const std::vector<std::string> lines = m_messages.LinesSince(m_mark);
    for (size_t i = 0; i < lines.size(); ++i) {
        if (!lines[i].starts_with(mark))
            continue;
        const bool hasReason = lines[i].starts_with(failed) && i + 1 < lines.size() &&
                               !lines[i + 1].starts_with(mark) && !lines[i + 1].starts_with("Found ");
        m_messages.Warn(lines[i].substr(mark.size()) + (hasReason ? " " + lines[i + 1] : ""));
    }
}

} // namespace host
