// What the checks of a plug-in have found, for people and for programs.
#ifndef ENCMGR_HOST_PLUGIN_REPORT_H
#define ENCMGR_HOST_PLUGIN_REPORT_H

#include "host/base/Json.h"
#include "host/validate/CheckRunner.h"

namespace host
{

struct PluginReport {
    std::string file; // as it was given
    std::vector<CheckResult> results;

    Outcome Worst() const;
    size_t Count(Outcome outcome) const;
};

// Which results are shown.
enum class Shown { kAll, kNotPassed, kFailed };

// The file's name, a line for each result that is shown, and a summary.
std::string ReportText(const PluginReport& report, Shown shown);
Json ReportJson(const PluginReport& report, Shown shown);

} // namespace host

#endif // ENCMGR_HOST_PLUGIN_REPORT_H
