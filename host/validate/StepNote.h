// What a check does at the moment, noted where it can be read when the check's process is dead.
#ifndef ENCMGR_HOST_STEP_NOTE_H
#define ENCMGR_HOST_STEP_NOTE_H

#include <string>
#include <string_view>

namespace host
{

// Begins to note in the file, which stays mapped to the end of the process. Without this, notes go nowhere.
void NoteStepsIn(const std::string& file);

// Replaces the note; cut to some 500 bytes.
void NoteStep(std::string_view text);

// The note that a process has left in the file.
std::string ReadStepNote(const std::string& file);

// A note for a scope, behind those of the scopes around it.
class StepNote
{
public:
    explicit StepNote(std::string_view text);
    ~StepNote();
    StepNote(const StepNote&) = delete;
    StepNote& operator=(const StepNote&) = delete;

private:
    std::string m_before;
};

} // namespace host

#endif // ENCMGR_HOST_STEP_NOTE_H
