// How far the job is, on the standard error stream.
#ifndef ENCMGR_HOST_PROGRESS_H
#define ENCMGR_HOST_PROGRESS_H

#include "host/base/Messages.h"
#include "host/job/EncodeOptions.h"
#include "host/job/OutputFile.h"
#include "host/job/Tally.h"

#include <chrono>

namespace host
{

class Progress
{
public:
    // total: the length to be expected, 0 if that isn't known. A kind that was asked for is shown under -q, too.
    // label: for the start of each line.
    Progress(Messages& messages, ProgressKind kind, const OutputFile& output, Nanoseconds total, bool hasVideo,
             const std::string& label = "");

    // Call as often as you like.
    void Update(const Tally& tally);

    // Wipes the line away; for programs there is a last one.
    void End(const Tally& tally);

    // Since the job's start.
    double Seconds() const;

private:
    using Clock = std::chrono::steady_clock;

    // What is told, worked out once for people and for programs.
    struct State {
        const Counts& counts;
        Nanoseconds position;
        double seconds; // that it took
        double done;    // part of the whole; 0 if that isn't known
    };

    State StateOf(const Tally& tally) const;
    std::string Line(const State& state, size_t width) const;
    std::string JsonOf(const State& state, const char* event) const;

    Messages& m_messages;
    ProgressKind m_kind; // never kAuto
    const OutputFile& m_output;
    Nanoseconds m_total;
    bool m_hasVideo;
    std::string m_label;
    Clock::time_point m_start;
    Clock::time_point m_last;
};

// "0 repeated, 3 dropped" and the like, for the last line too.
std::string PacingText(const Counts& counts);

// How many times faster than in real time.
std::string SpeedText(Nanoseconds position, double seconds);

} // namespace host

#endif // ENCMGR_HOST_PROGRESS_H
