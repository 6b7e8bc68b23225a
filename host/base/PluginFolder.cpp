#include "host/base/PluginFolder.h"

#include "encmgr/Log.h"
#include "host/base/ExitCode.h"
#include "host/base/Folder.h"
#include "plugin_host/PluginMgr.h"
#include "text/Strings.h"

#include <algorithm>
#include <filesystem>
#include <iterator>

namespace host
{

namespace
{

namespace fs = std::filesystem;

const char* const kName = "PlugIns";

} // namespace

std::string ProgramFolder()
{
    wchar_t folder[4096] = {};
    GetAppPath(folder, static_cast<int>(std::size(folder)) - 1);
    return text::Utf8FromWide(folder).value_or("");
}

bool IsPluginName(const std::string& name)
{
    return name.starts_with("wp") && name.ends_with(".dylib");
}

std::string PluginFolder(const std::string& given)
{
    const fs::path folder = given.empty() ? ProgramFolder() : given;
    std::error_code unreadable;
    if (given.empty() || fs::is_directory(folder / kName, unreadable))
        return folder / kName;
    const fs::path named = folder.has_filename() ? folder : folder.parent_path(); // without a slash at the end
    if (named.filename() == kName)
        return named;
    const std::vector<std::string> names = NamesIn(folder);
    return std::any_of(names.begin(), names.end(), IsPluginName) ? named : folder / kName;
}

void UsePluginFolder(const std::string& given)
{
    PluginMgr::m_strFolder.clear();
    if (given.empty())
        return;
    const fs::path folder = PluginFolder(given);
    const auto wide = text::WideFromUtf8(folder.native());
    if (!wide)
        throw HostError(kExitUsage, "--plugins: the folder's name isn't UTF-8");
    if (folder.filename() != kName) {
        PluginMgr::m_strFolder = folder;
        return;
    }
    // Plug-ins that ask for the application's folder get the one that theirs lies in.
    const fs::path parent = folder.parent_path();
    KXLogSetAppPath(parent.empty() ? L"." : text::WideFromUtf8(parent.native())->c_str());
}

} // namespace host
