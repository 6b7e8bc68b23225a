// What a job is going to do, as the library and its plug-ins have settled it: for people and for reports.
#ifndef ENCMGR_HOST_PLAN_REPORT_H
#define ENCMGR_HOST_PLAN_REPORT_H

#include "host/base/Json.h"
#include "host/job/JobPlan.h"
#include "media_file/MediaFile.h"

#include <string>
#include <vector>

namespace host
{

// A job that is set up, with what it was set up from.
struct SettledJob {
    const Choice& choice;
    const JobPlan& plan;
    const MediaFile& file;
};

// The plug-ins' names, which rectangle of the source goes where, and what was changed.
std::vector<std::string> SettledLines(const SettledJob& job);

// The report's member "plan"; docs/report.md describes it.
Json PlanJson(const SettledJob& job);

} // namespace host

#endif // ENCMGR_HOST_PLAN_REPORT_H
