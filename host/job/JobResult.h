// How far a job has come, for whoever shows it or judges it.
#ifndef ENCMGR_HOST_JOB_RESULT_H
#define ENCMGR_HOST_JOB_RESULT_H

#include "host/job/FrameWriter.h"
#include "host/job/Tally.h"

#include <string>

namespace host
{

class JobResult
{
public:
    const Counts& GetCounts() const { return m_tally.Pictures(); }

    // What the sources gave, and whether the library wrote any of it.
    bool HadPicture() const { return m_hadPicture; }
    bool HadAudio() const { return m_hadAudio; }
    bool WroteAudio() const { return m_wroteAudio; }

    // The time reached.
    Nanoseconds Position() const { return m_tally.Position(); }

    // A stream was refused for so long that the job was given up, or the system refuses to write.
    bool IsRefused() const
    {
        return m_pictureRefusals >= kMostRefusals || m_audioRefusals >= kMostRefusals || m_writer.WriteError();
    }

    // How the source breaks a limit of the plan, for which the job was given up; empty if it doesn't.
    const std::string& BrokenLimit() const { return m_brokenLimit; }

protected:
    JobResult(FrameWriter& writer, Tally& tally) : m_writer(writer), m_tally(tally) {}
    ~JobResult() = default;

    // So many pieces in a row aren't written only if none can be written any more. An encoder may hold back fewer.
    static constexpr int kMostRefusals = 500;

    FrameWriter& m_writer;
    Tally& m_tally;
    bool m_hadPicture = false;
    bool m_hadAudio = false;
    bool m_wroteAudio = false;
    int m_pictureRefusals = 0; // in a row
    int m_audioRefusals = 0;   // in a row
    std::string m_brokenLimit;
};

} // namespace host

#endif // ENCMGR_HOST_JOB_RESULT_H
