// Level 9: a system that refuses, and jobs that are long.
#include "host/base/Text.h"
#include "host/validate/Check.h"
#include "host/validate/MemoryUse.h"
#include "host/validate/TrialJob.h"

#include <cerrno>
#include <cstring>
#include <sys/resource.h>

namespace host
{

namespace
{

constexpr int kPictures = 40;
constexpr rlim_t kMostBytes = 3000; // less than that job takes with any format

// While it lives, files of this process can't become longer than that.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit = {bytes, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &m_before); }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit m_before = {};
};

// Calls see(job) with whole jobs, each with a file that the system refuses to make longer; of those that reach it.
template <class See> void ForEachLimitedJob(const Subject& subject, See see)
{
    const TrialCatalogue catalogue(subject);
    for (const TrialPair& pair : catalogue.Cover()) {
        if (TrialCatalogue::IsSequence(pair.format) || !pair.MakesFile())
            continue; // many small files
        TrialJob job({pair, TrialPath(subject, pair)});
        {
            const FileSizeLimit limit(kMostBytes);
            RunToEnd(job, kPictures);
        }
        if (TakeOutputs(subject).size() >= kMostBytes && job.Refusal().empty() && !job.HasThrown())
            see(job);
    }
}

void CheckSizeLimit(const Subject& subject, Verdict& verdict)
{
    ForEachLimitedJob(subject, [&verdict](const TrialJob& job) {
        if (job.Report().calls && job.Report().n1 == 0)
            verdict.Fail(job.Setup().pair.Text() + ": the system refuses a write, and the file is called complete");
    });
}

void CheckErrno(const Subject& subject, Verdict& verdict)
{
    ForEachLimitedJob(subject, [&verdict](const TrialJob& job) {
        if (job.Report().calls && job.Report().n1 == 1 && job.Report().error != EFBIG)
            verdict.Fail(Format("%s: the system says \"%s\", and errno \"%s\"", job.Setup().pair.Text().c_str(),
                                std::strerror(EFBIG), std::strerror(job.Report().error)));
    });
}

// Jobs whose outputs can't be written: a file that is called good after all.
void CheckBadPath(const Subject& subject, const std::string& path, Verdict& verdict)
{
    const TrialCatalogue catalogue(subject);
    for (const TrialPair& pair : catalogue.Cover()) {
        if (TrialCatalogue::IsSequence(pair.format) || !pair.MakesFile())
            continue;
        TrialJob job({pair, path});
        const bool isOpen = job.IsOpen();
        RunToEnd(job, kPictures);
        if (isOpen && job.Report().calls && job.Report().n1 == 0)
            verdict.Fail(pair.Text() + ": " + path + " can't be written, and the file is called complete");
    }
}

void CheckNoFolder(const Subject& subject, Verdict& verdict)
{
    CheckBadPath(subject, subject.folder + "/no folder/x.out", verdict);
    CheckBadPath(subject, subject.folder, verdict); // a folder itself
}

void CheckFullDisk(const Subject& subject, Verdict& verdict)
{
    CheckBadPath(subject, "/dev/full", verdict);
}

void CheckFrameGrowth(const Subject& subject, Verdict& verdict)
{
    constexpr int pictures = 100;
    constexpr long kept = 1024; // bytes: entries of an index, of several streams
    const TrialCatalogue catalogue(subject);
    for (const TrialPair& pair : catalogue.Cover()) {
        TrialSetup setup = {pair, TrialPath(subject, pair)};
        setup.shape.width = setup.shape.height = 64;
        TrialJob job(setup);
        int written = 0;
        const auto write = [&] {
            for (const int end = written + pictures; written < end && job.IsOpen(); ++written)
                job.WriteBoth(written);
            job.ForgetSlots();
        };
        write(); // encoders fill up first
        const Growth growth = GrowthOf(3, write);
        job.Close();
        TakeOutputs(subject);
        if (growth.bytes > kept * pictures)
            verdict.Fail(Format("%s: each frame leaves %ld bytes", pair.Text().c_str(), growth.bytes / pictures));
        if (growth.files > 0)
            verdict.Fail(pair.Text() + ": frames leave files open");
    }
}

constexpr Check kChecks[] = {
    {"size-limit", 9, Stage::kJobs, false, "Of a file that couldn't grow, nobody says that it is complete.",
     CheckSizeLimit},
    {"write-errno", 9, Stage::kJobs, false, "errno tells why a write failed, at the latest at the callback.",
     CheckErrno},
    {"bad-path", 9, Stage::kJobs, false, "Of a file that can't be made, nobody says that it is complete.",
     CheckNoFolder},
    {"full-disk", 9, Stage::kJobs, false, "Of a file on a full disk, nobody says that it is complete.", CheckFullDisk},
    {"frame-growth", 9, Stage::kJobs, false, "Frames leave neither memory nor files open.", CheckFrameGrowth},
};

} // namespace

std::span<const Check> WriteChecks()
{
    return kChecks;
}

} // namespace host
