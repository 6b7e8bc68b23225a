// What a check of a plug-in is, what it looks at, and what it finds.
#ifndef ENCMGR_HOST_CHECK_H
#define ENCMGR_HOST_CHECK_H

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace host
{

class Messages;

// From good to bad: a check is as bad as the worst that it has found.
enum class Outcome { kPassed, kSkipped, kWarning, kFailed, kCrashed };

// "passed" and so on.
const char* OutcomeName(Outcome outcome);

// What a check has found.
class Verdict
{
public:
    void Skip(const std::string& text) { Add(Outcome::kSkipped, text); }
    void Warn(const std::string& text) { Add(Outcome::kWarning, text); }
    void Fail(const std::string& text) { Add(Outcome::kFailed, text); }
    void Add(Outcome outcome, const std::string& text);

    Outcome Worst() const { return m_worst; }
    // The texts that belong to the worst.
    const std::vector<std::string>& Texts() const { return m_texts; }

private:
    Outcome m_worst = Outcome::kPassed;
    std::vector<std::string> m_texts;
};

// The plug-in, and what a check of it may use.
struct Subject {
    std::string file;               // an absolute path
    std::string folder;             // empty, for what the plug-in writes
    uint64_t seed;                  // of all chance
    std::chrono::milliseconds time; // until the check is taken for hanging
    Messages& messages;             // holds the log
};

// Each stage can only be looked at once the one before holds.
enum class Stage {
    kPath,     // a name in the file system
    kFile,     // that can be read
    kLibrary,  // which is a shared library
    kNative,   // for this program
    kLinks,    // whose dependencies are there
    kResolved, // with all symbols
    kLoads,    // that can be loaded
    kExports,  // and has what a plug-in exports
    kScans,    // which returns
    kRecords,  // records that make sense
    kJobs      // with which jobs can be done
};

struct Check {
    const char* id; // stable, words joined by "-"
    int level;      // 1 to 10
    Stage stage;    // that it needs
    bool isGate;    // if it fails, the stages beyond don't hold
    const char* sentence;
    void (*run)(const Subject& subject, Verdict& verdict);
};

// Each level's, in the order in which they are run.
std::span<const Check> FileChecks();
std::span<const Check> RecordChecks();
std::span<const Check> ListChecks();
std::span<const Check> JobChecks();
std::span<const Check> CloseChecks();
std::span<const Check> ReviseChecks();
std::span<const Check> ReloadChecks();
std::span<const Check> FrameChecks();
std::span<const Check> WriteChecks();
std::span<const Check> RandomChecks();

// All of them, in order.
const std::vector<Check>& AllChecks();

} // namespace host

#endif // ENCMGR_HOST_CHECK_H
