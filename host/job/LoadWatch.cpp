#include "host/job/LoadWatch.h"

#include "host/base/ExitCode.h"
#include "host/base/Interrupt.h"
#include "host/base/Messages.h"
#include "host/base/PluginGuard.h"
#include "host/base/Text.h"
#include "plugin_host/PluginMgr.h"

#include <chrono>
#include <csignal>

namespace host
{

namespace
{

using std::chrono::steady_clock;
constexpr std::chrono::milliseconds kLook(100);
constexpr std::chrono::seconds kLong(5), kTooLong(60);

} // namespace

LoadWatch::LoadWatch(Messages& messages) : m_messages(messages)
{
    // Signals are for the program's other threads.
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    m_thread = std::thread([this] { Watch(); });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

LoadWatch::~LoadWatch()
{
    {
        const std::lock_guard lock(m_mutex);
        m_isEnding = true;
    }
    m_ending.notify_one();
    m_thread.join();
}

void LoadWatch::Watch()
{
    const char* file = nullptr;
    steady_clock::time_point since;
    bool isTold = false;
    std::unique_lock lock(m_mutex);
    while (!m_ending.wait_for(lock, kLook, [this] { return m_isEnding; })) {
        const char* const now = PluginMgr::m_pszInWork;
        if (!now || now != file) {
            file = now;
            since = steady_clock::now();
            isTold = false;
            continue;
        }
        const auto passed = steady_clock::now() - since;
        if (InterruptSignal()) {
            m_messages.Error(Format("interrupted while the plug-in %s was loaded or unloaded", file));
            EndNow(kExitSignal + InterruptSignal());
        }
        if (passed >= kTooLong) {
            m_messages.Error(Format("the plug-in %s doesn't come back from being loaded or unloaded", file));
            EndNow(kExitPluginEnd);
        }
        if (passed >= kLong && !isTold) {
            m_messages.Warn(Format("the plug-in %s takes long to be loaded or unloaded", file));
            isTold = true;
        }
    }
}

} // namespace host
