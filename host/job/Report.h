// What a job was asked for, what it did, and how it ended, for programs and for "encmgr view".
#ifndef ENCMGR_HOST_REPORT_H
#define ENCMGR_HOST_REPORT_H

#include "host/base/Json.h"
#include "host/base/Messages.h"
#include "host/job/EncodeOptions.h"
#include "host/job/OutputFile.h"
#include "host/job/Tally.h"

#include <chrono>
#include <functional>
#include <string>

namespace host
{

// Of the reports. It rises when a member is taken away or means something else, and stays when one is added.
constexpr int kReportSchema = 1;

// Who writes them, with the version.
extern const char* const kReportProgram;

// Where the file of a name is, for those who read the report elsewhere; null for what is no file.
Json AbsolutePath(const std::string& name);

// Filled while the job comes to be; what it never came to stays null.
class Report
{
public:
    // Throws HostError if the options' report can't be written, or is one of the job's own files.
    Report(const EncodeOptions& options, Messages& messages);

    // Runs the job and writes the report, however that ends. Returns the exit code, or throws what the job has thrown.
    int Around(const std::function<int()>& job);

    void SetInput(const Source& main, const Source* separateAudio);
    void SetPlan(Json plan) { m_json["plan"] = std::move(plan); }
    void SetResult(const Tally& tally, const JobPlan& plan, const OutputFile& output);
    // No file of the job's is left.
    void ForgetOutput() { m_json["output"]["bytes"] = nullptr; }

private:
    void NoteEnd(int exitCode, const std::string* error);
    bool Write();

    const std::string& m_path; // empty for none, "-" for the standard output
    const EncodeOptions& m_options;
    Messages& m_messages;
    std::chrono::steady_clock::time_point m_start;
    Json m_json;
    Json m_timeline; // goes to the end, being long
};

} // namespace host

#endif // ENCMGR_HOST_REPORT_H
