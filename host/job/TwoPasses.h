// What keeps two passes over one source together: the file of statistics, in a folder of its own.
#ifndef ENCMGR_HOST_TWO_PASSES_H
#define ENCMGR_HOST_TWO_PASSES_H

#include "host/job/JobPlan.h"

#include <filesystem>

namespace host
{

class TwoPasses
{
public:
    // Makes the folder among the system's temporary ones. Throws HostError. The destructor takes it away.
    TwoPasses();
    ~TwoPasses();
    TwoPasses(const TwoPasses&) = delete;
    TwoPasses& operator=(const TwoPasses&) = delete;

    // The plan of one of the passes, 1 or 2.
    JobPlan PlanOf(int pass, const JobPlan& plan) const;

private:
    std::filesystem::path m_folder;
};

} // namespace host

#endif // ENCMGR_HOST_TWO_PASSES_H
