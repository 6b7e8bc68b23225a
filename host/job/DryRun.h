// A job that is set up and goes again, since what plug-ins make of their parameters shows only then.
#ifndef ENCMGR_HOST_DRY_RUN_H
#define ENCMGR_HOST_DRY_RUN_H

#include "host/job/Catalogue.h"
#include "host/job/JobPlan.h"
#include "host/job/Report.h"

#include <string>
#include <vector>

namespace host
{

// Sets the job up on a file of the same kind of name in a folder for temporary files, and takes both away. Returns what
// people are to read; the report gets the plan. Throws HostError where the job itself would.
std::vector<std::string> RunDry(const Choice& choice, const JobPlan& plan, const std::string& output, Report& report);

} // namespace host

#endif // ENCMGR_HOST_DRY_RUN_H
