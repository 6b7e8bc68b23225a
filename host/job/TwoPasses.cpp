#include "host/job/TwoPasses.h"

#include "host/base/ExitCode.h"
#include "host/base/Text.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace host
{

TwoPasses::TwoPasses()
{
    std::error_code missing;
    std::string folder = (std::filesystem::temp_directory_path(missing) / "encmgr-passes-XXXXXX").string();
    if (missing || !mkdtemp(folder.data()))
        throw HostError(kExitJob, Format("can't make a folder for the first pass, %s: %s", folder.c_str(),
                                         missing ? missing.message().c_str() : std::strerror(errno)));
    m_folder = folder;
}

TwoPasses::~TwoPasses()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
}

JobPlan TwoPasses::PlanOf(int pass, const JobPlan& plan) const
{
    JobPlan ofPass = plan;
    ofPass.AddVideoOption("pass", std::to_string(pass));
    ofPass.AddVideoOption("stats", (m_folder / "statistics").string());
    return ofPass;
}

} // namespace host
