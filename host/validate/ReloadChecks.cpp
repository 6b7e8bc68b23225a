// Level 7: jobs side by side, and again and again.
#include "host/base/Text.h"
#include "host/validate/Check.h"
#include "host/validate/MemoryUse.h"
#include "host/validate/TrialJob.h"

#include <dlfcn.h>
#include <link.h>
#include <thread>

namespace host
{

namespace
{

constexpr int kPictures = 12;
constexpr int kTries = 3; // encoders with threads of their own aren't exact each time
constexpr int kLoads = 100;
constexpr long kKeptByLoad = 256; // bytes that nobody minds
constexpr long kKeptByJob = 4096; // some encoders' libraries lose a little with each

// At the rate that most encoders take, so that the library need not convert: its balance is shared by all jobs.
TrialSetup SetupOf(const Subject& subject, const TrialPair& pair)
{
    TrialSetup setup = {pair, TrialPath(subject, pair)};
    setup.shape.sampleRate = 48000;
    return setup;
}

// What two jobs of the pair leave, one after another. Empty if they can't be done.
std::string OneAfterAnother(const Subject& subject, const TrialPair& pair)
{
    for (int i = 0; i < 2; ++i) {
        TrialJob job(SetupOf(subject, pair));
        const bool isDone = job.Refusal().empty();
        RunToEnd(job, kPictures);
        if (!isDone || job.HasThrown()) {
            TakeOutputs(subject);
            return "";
        }
    }
    return TakeOutputs(subject);
}

// Compares what two jobs leave when together(first, second) writes them with what they leave alone. Of formats that
// write chance or the time into their files nothing can be told but that they come to an end.
template <class Together> void CompareJobs(const Subject& subject, Verdict& verdict, Together together)
{
    const TrialCatalogue catalogue(subject);
    for (const TrialPair& pair : catalogue.Cover()) {
        const std::string alone = OneAfterAnother(subject, pair);
        if (alone.empty() && pair.MakesFile())
            continue;
        bool isSame = false;
        for (int i = 0; i < kTries && !isSame; ++i) {
            TrialJob first(SetupOf(subject, pair)), second(SetupOf(subject, pair));
            if (!first.Refusal().empty() || !second.Refusal().empty()) {
                verdict.Fail(pair.Text() + ": there can be no second job beside the first");
                isSame = true;
                break;
            }
            together(first, second);
            isSame = TakeOutputs(subject) == alone;
        }
        if (!isSame && alone == OneAfterAnother(subject, pair))
            verdict.Warn(pair.Text() + ": two jobs at a time leave other files than one after another; do they share "
                                       "something? (Encoders with threads of their own may not be exact.)");
    }
}

void CheckInterleaved(const Subject& subject, Verdict& verdict)
{
    CompareJobs(subject, verdict, [](TrialJob& first, TrialJob& second) {
        for (int i = 0; i < kPictures; ++i) {
            first.WriteBoth(i);
            second.WriteBoth(i);
        }
        first.Close();
        second.Close();
    });
}

void CheckThreads(const Subject& subject, Verdict& verdict)
{
    CompareJobs(subject, verdict, [](TrialJob& first, TrialJob& second) {
        std::thread other([&second] { RunToEnd(second, kPictures); });
        RunToEnd(first, kPictures);
        other.join();
    });
}

void FailOfGrowth(const std::string& what, const Growth& growth, int count, long kept, Verdict& verdict)
{
    if (growth.files > 0)
        verdict.Fail(Format("%s leaves files open: %ld after %d of them", what.c_str(), growth.files, count));
    if (growth.bytes > kept * count)
        verdict.Fail(Format("%s keeps %ld bytes", what.c_str(), growth.bytes / count));
}

// Whether the library is linked to stay in memory for good.
bool IsToStay(void* module)
{
    const link_map* map = nullptr;
    if (dlinfo(module, RTLD_DI_LINKMAP, &map) != 0)
        return false;
    for (const ElfW(Dyn)* entry = map->l_ld; entry && entry->d_tag != DT_NULL; ++entry)
        if (entry->d_tag == DT_FLAGS_1 && entry->d_un.d_val & DF_1_NODELETE)
            return true;
    return false;
}

void CheckReload(const Subject& subject, Verdict& verdict)
{
    constexpr int stretches = 5;
    const Growth growth = GrowthOf(stretches, [&subject] {
        for (int i = 0; i < kLoads / stretches; ++i) {
            LoadedPlugin plugin(subject.file);
            plugin.Scan();
        }
    });
    FailOfGrowth("each loading", growth, kLoads / stretches, kKeptByLoad, verdict);
    if (void* const module = dlopen(subject.file.c_str(), RTLD_LAZY | RTLD_NOLOAD)) {
        const bool isMeant = IsToStay(module);
        dlclose(module);
        if (isMeant)
            return;
        verdict.Warn("it stays in memory when it is unloaded; a unique symbol of a template, or a destructor of a "
                     "thread's, may hold it");
    }
}

void CheckJobGrowth(const Subject& subject, Verdict& verdict)
{
    constexpr int jobs = 5;
    const TrialCatalogue catalogue(subject);
    for (const TrialPair& pair : catalogue.Cover()) {
        const Growth growth = GrowthOf(4, [&] {
            for (int i = 0; i < jobs; ++i) {
                TrialJob job({pair, TrialPath(subject, pair)});
                RunToEnd(job, 3);
                TakeOutputs(subject);
            }
        });
        FailOfGrowth(pair.Text() + ": each job", growth, jobs, kKeptByJob, verdict);
    }
}

constexpr Check kChecks[] = {
    {"interleaved-jobs", 7, Stage::kJobs, false, "Two jobs in turn leave what they leave alone.", CheckInterleaved},
    {"threads", 7, Stage::kJobs, false, "Two jobs on two threads leave what they leave alone.", CheckThreads},
    {"reload", 7, Stage::kRecords, false, "It can be loaded and unloaded 100 times, and nothing grows.", CheckReload},
    {"job-growth", 7, Stage::kJobs, false, "Jobs leave neither memory nor files open.", CheckJobGrowth},
};

} // namespace

std::span<const Check> ReloadChecks()
{
    return kChecks;
}

} // namespace host
