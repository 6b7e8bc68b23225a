#include "host/job/DryRun.h"

#include "host/base/ExitCode.h"
#include "host/base/Text.h"
#include "host/job/JobWriter.h"
#include "host/job/PlanReport.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace host
{

namespace
{

class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        std::error_code error;
        m_path = (std::filesystem::temp_directory_path(error) / "encmgr-XXXXXX").string();
        if (error || !mkdtemp(m_path.data()))
            throw HostError(kExitOutput, Format("can't make a temporary folder: %s", std::strerror(errno)));
    }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

} // namespace

std::vector<std::string> RunDry(const Choice& choice, const JobPlan& plan, const std::string& output, Report& report)
{
    const TemporaryFolder folder;
    // Formats may go by the ending.
    const std::string ending = std::filesystem::path(output).extension().string();
    const OutputFile file(folder.Path() + "/dry-run" + ending);
    Tally tally(plan, file);
    const JobWriter writer(plan, file, tally);
    const SettledJob job = {choice, plan, writer.Settled()};
    report.SetPlan(PlanJson(job));
    return SettledLines(job);
}

} // namespace host
