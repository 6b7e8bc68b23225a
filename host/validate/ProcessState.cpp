#include "host/validate/ProcessState.h"

#include "host/base/Text.h"

#include <algorithm>
#include <cfenv>
#include <clocale>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>
#if defined __x86_64__ || defined __SSE__
#include <xmmintrin.h>
#endif

namespace host
{

namespace
{

namespace fs = std::filesystem;

std::vector<std::string> OpenFilesNow()
{
    std::vector<std::string> files;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd", ignored)) {
        const std::string target = fs::read_symlink(entry.path(), ignored).string();
        if (target.find("/proc/") == std::string::npos) // the listing itself
            files.push_back(entry.path().filename().string() + " -> " + target);
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<const void*> SignalsNow()
{
    std::vector<const void*> handlers;
    for (int signal = 1; signal < 32; ++signal) {
        struct sigaction action = {};
        sigaction(signal, nullptr, &action);
        handlers.push_back(reinterpret_cast<const void*>(action.sa_handler));
    }
    return handlers;
}

std::vector<std::string> EnvironmentNow()
{
    std::vector<std::string> variables;
    for (char** variable = environ; variable && *variable; ++variable)
        variables.emplace_back(*variable);
    std::sort(variables.begin(), variables.end());
    return variables;
}

size_t ThreadsNow()
{
    std::error_code ignored;
    return static_cast<size_t>(std::distance(fs::directory_iterator("/proc/self/task", ignored), {}));
}

unsigned ControlNow()
{
#if defined __x86_64__ || defined __SSE__
    return _mm_getcsr() & ~0x3Fu; // without the flags of what has happened
#else
    return 0;
#endif
}

unsigned UmaskNow()
{
    const mode_t mask = umask(0);
    umask(mask);
    return mask;
}

// The first that is in one list and not in the other.
std::string FirstOnlyIn(const std::vector<std::string>& list, const std::vector<std::string>& other)
{
    const auto found = std::find_if(list.begin(), list.end(), [&other](const std::string& entry) {
        return std::find(other.begin(), other.end(), entry) == other.end();
    });
    return found == list.end() ? "" : *found;
}

} // namespace

size_t CountOpenFiles()
{
    return OpenFilesNow().size();
}

ProcessState::ProcessState()
    : m_locale(std::setlocale(LC_ALL, nullptr)), m_rounding(std::fegetround()), m_control(ControlNow()),
      m_signals(SignalsNow()), m_files(OpenFilesNow()), m_folder(fs::current_path().string()), m_umask(UmaskNow()),
      m_environment(EnvironmentNow()), m_threads(ThreadsNow())
{
}

std::string ProcessState::LocaleChange(const ProcessState& before) const
{
    return m_locale == before.m_locale
               ? ""
               : Format("the locale was %s and is %s now", before.m_locale.c_str(), m_locale.c_str());
}

std::string ProcessState::FloatingPointChange(const ProcessState& before) const
{
    if (m_rounding != before.m_rounding)
        return "the rounding of doubles is another now";
    return m_control == before.m_control ? "" : "how the processor works with doubles is another now";
}

std::string ProcessState::SignalChange(const ProcessState& before) const
{
    std::string changed;
    for (size_t i = 0; i < m_signals.size(); ++i)
        if (const char* const name = sigabbrev_np(static_cast<int>(i) + 1); m_signals[i] != before.m_signals[i] && name)
            changed += (changed.empty() ? "SIG" : ", SIG") + std::string(name);
    return changed.empty() ? "" : "another handler stands for " + changed;
}

std::string ProcessState::DescriptorChange(const ProcessState& before) const
{
    if (const std::string opened = FirstOnlyIn(m_files, before.m_files); !opened.empty())
        return "it leaves open " + opened;
    const std::string closed = FirstOnlyIn(before.m_files, m_files);
    return closed.empty() ? "" : "it has closed " + closed;
}

std::string ProcessState::SettingChange(const ProcessState& before) const
{
    if (m_folder != before.m_folder)
        return "the working folder is " + m_folder + " now";
    if (m_umask != before.m_umask)
        return Format("the umask was %03o and is %03o now", before.m_umask, m_umask);
    if (m_threads > before.m_threads)
        return Format("it has left %zu threads running", m_threads - before.m_threads);
    if (m_environment == before.m_environment)
        return "";
    const std::string set = FirstOnlyIn(m_environment, before.m_environment);
    return "the environment is another now" + (set.empty() ? "" : ": " + set);
}

} // namespace host
