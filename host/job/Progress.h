// How far the job is: a line in place on a terminal, otherwise a plain line now and then.
#ifndef ENCMGR_HOST_PROGRESS_H
#define ENCMGR_HOST_PROGRESS_H

#include "host/base/Messages.h"
#include "host/job/OutputFile.h"
#include "host/sources/Source.h"

#include <chrono>

namespace host
{

struct Counts {
    int64_t pictures = 0; // handed to the file, repeats included
    int64_t repeated = 0; // of these, copies of the one before
    int64_t dropped = 0;  // pictures of the source that were left out
};

class Progress
{
public:
    // total: the length to be expected, 0 if that isn't known. label: for the start of each line.
    Progress(Messages& messages, const OutputFile& output, Nanoseconds total, bool hasVideo,
             const std::string& label = "");

    // Call as often as you like. position: the time reached on the job's clock.
    void Update(const Counts& counts, Nanoseconds position);

    // Wipes the line away.
    void End();

    // Since the job's start.
    double Seconds() const;

private:
    using Clock = std::chrono::steady_clock;

    std::string Line(const Counts& counts, Nanoseconds position, size_t width) const;

    Messages& m_messages;
    const OutputFile& m_output;
    Nanoseconds m_total;
    bool m_hasVideo;
    std::string m_label;
    bool m_isInPlace;
    Clock::time_point m_start;
    Clock::time_point m_last;
};

// "0 repeated, 3 dropped" and the like, for the last line too.
std::string PacingText(const Counts& counts);

// How many times faster than in real time.
std::string SpeedText(Nanoseconds position, double seconds);

} // namespace host

#endif // ENCMGR_HOST_PROGRESS_H
