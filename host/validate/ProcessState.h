// What a plug-in could change in the process that loads it.
#ifndef ENCMGR_HOST_PROCESS_STATE_H
#define ENCMGR_HOST_PROCESS_STATE_H

#include <string>
#include <vector>

namespace host
{

// As it is when the object is made.
class ProcessState
{
public:
    ProcessState();

    // Each as a line "the locale was C, and is de_DE now"; empty where nothing has changed.
    std::string LocaleChange(const ProcessState& before) const;
    std::string FloatingPointChange(const ProcessState& before) const;
    std::string SignalChange(const ProcessState& before) const;
    std::string DescriptorChange(const ProcessState& before) const;
    std::string SettingChange(const ProcessState& before) const; // working folder, umask, environment, threads

private:
    std::string m_locale;
    int m_rounding;
    unsigned m_control; // of the processor's floating point, where that is known
    std::vector<const void*> m_signals;
    std::vector<std::string> m_files; // open ones, as "3 -> /dev/null"
    std::string m_folder;
    unsigned m_umask;
    std::vector<std::string> m_environment;
    size_t m_threads;
};

// Descriptors that are open now.
size_t CountOpenFiles();

} // namespace host

#endif // ENCMGR_HOST_PROCESS_STATE_H
