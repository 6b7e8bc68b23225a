// A job on trial: set up with a pair of the catalogue, fed, closed, and looked at.
#ifndef ENCMGR_HOST_TRIAL_JOB_H
#define ENCMGR_HOST_TRIAL_JOB_H

#include "host/validate/SlotLog.h"
#include "host/validate/TrialCatalogue.h"
#include "host/validate/TrialFrames.h"

#include <string>

namespace host
{

struct TrialSetup {
    TrialPair pair;
    std::string path;
    FrameShape shape = {160, 120, 0, 0, 44100, 2, 25.0};
    FrameMemory memory = {};
};

// What the format told at the close.
struct TrialReport {
    int calls = 0; // of the callback
    unsigned n1 = 0, n2 = 0, n3 = 0;
    int error = 0; // errno at the first write that failed, or at the callback; 0 if none was left
};

class TrialJob
{
public:
    explicit TrialJob(const TrialSetup& setup);
    ~TrialJob();
    TrialJob(const TrialJob&) = delete;
    TrialJob& operator=(const TrialJob&) = delete;

    // Why the job, or a stream of it, couldn't be set up; empty if all is there.
    const std::string& Refusal() const { return m_refusal; }
    bool IsOpen() const { return m_handle != nullptr; }

    // Hand over picture and sound of this place, in the streams that the job has. Only of an open job.
    void WritePicture(int number);
    void WriteBlock(int number);
    void WriteBoth(int number);

    void Close(bool hasCallback = true);

    const SlotLog& Slots() const { return m_slots; }
    void ForgetSlots() { m_slots = {}; } // and the memory that they take
    size_t Calls(const char* slot) const;
    bool HasThrown() const;
    const TrialReport& Report() const { return m_report; }
    // Of all writes.
    const std::vector<int>& Results() const { return m_results; }
    // As the plug-ins have left them.
    const EncodeParam& Param() const { return m_param; }
    const TrialSetup& Setup() const { return m_setup; }

private:
    void Note(int result);

    TrialSetup m_setup;
    TrialFrames m_frames;
    SlotLog m_slots;
    void* m_handle = nullptr;
    EncodeParam m_param = {};
    std::string m_refusal;
    std::vector<int> m_results;
    int m_writeError = 0;
    TrialReport m_report;
};

// The name of an output for the pair in the folder; each call gives another.
std::string TrialPath(const Subject& subject, const TrialPair& pair);

// A whole job of so many pictures, or of that time's sound.
void RunToEnd(TrialJob& job, int pictures, bool hasCallback = true);

// What is in the files of the folder, one after another by name. Takes them away.
std::string TakeOutputs(const Subject& subject);

} // namespace host

#endif // ENCMGR_HOST_TRIAL_JOB_H
