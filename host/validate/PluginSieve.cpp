#include "host/validate/PluginSieve.h"

#include "host/base/Messages.h"
#include "host/base/PluginFolder.h"
#include "host/base/Text.h"
#include "host/validate/CheckRunner.h"
#include "plugin_host/PluginMgr.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

namespace host
{

namespace
{

namespace fs = std::filesystem;

constexpr std::chrono::seconds kTime(10); // for one plug-in

const Check& ScanCheck()
{
    const auto& all = AllChecks();
    return *std::find_if(all.begin(), all.end(), [](const Check& check) { return !std::strcmp(check.id, "scan"); });
}

} // namespace

void LeaveOutBadPlugins(const std::string& folder, Messages& messages)
{
    std::vector<fs::path> files;
    std::error_code unreadable, ignored;
    for (const auto& entry : fs::directory_iterator(PluginFolder(folder), unreadable))
        if (const std::string name = entry.path().filename().string();
            IsPluginName(name) && entry.is_regular_file(ignored))
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());

    PluginMgr::m_arLeftOut.clear();
    for (const fs::path& file : files) {
        const CheckResult result =
            RunCheck(ScanCheck(), fs::absolute(file).string(), {1, kTime, false, false}, messages);
        if (result.outcome != Outcome::kCrashed)
            continue; // what the library refuses by itself, it names by itself
        messages.Warn(Format("the plug-in %s is left out: %s", file.c_str(), result.texts.front().c_str()));
        PluginMgr::m_arLeftOut.push_back(file.filename().string());
    }
}

} // namespace host
