#include "host/base/PluginGuard.h"

#include "host/base/ExitCode.h"
#include "host/base/Termination.h"
#include "plugin_host/PluginMgr.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <execinfo.h>
#include <initializer_list>
#include <string_view>
#include <unistd.h>

namespace host
{

namespace
{

constexpr int kCrashes[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};
constexpr int kFrames = 64;

std::atomic<pid_t> s_guarded = 0; // a process that a plug-in forks is its own affair

// For a crash by a stack that is full.
alignas(16) std::array<char, 65536> s_stack;

// All in one write, without memory that could be broken.
void Say(std::initializer_list<std::string_view> parts)
{
    std::array<char, 1024> line;
    size_t length = 0;
    for (const std::string_view part : parts)
        length += part.copy(line.data() + length, line.size() - length);
    if (write(STDERR_FILENO, line.data(), length) < 0)
        return; // there is nobody left to tell
}

bool IsPluginFile(std::string_view file)
{
    return file.ends_with(".dylib") && file.substr(file.find_last_of('/') + 1).starts_with("wp");
}

// The plug-in that is being loaded, or the one whose code led here; null if neither can be told.
const char* Culprit()
{
    if (const char* const file = PluginMgr::m_pszInWork)
        return file;
    std::array<void*, kFrames> frames;
    const int count = backtrace(frames.data(), kFrames);
    for (int i = 0; i < count; ++i) {
        Dl_info info = {};
        if (dladdr(frames[static_cast<size_t>(i)], &info) && info.dli_fname && IsPluginFile(info.dli_fname))
            return info.dli_fname;
    }
    return nullptr;
}

// signal: that ends the program, without "SIG"; empty if none does.
void SayCulprit(std::string_view what, std::string_view signal)
{
    const bool isScan = PluginMgr::m_pszInWork != nullptr;
    const char* const file = Culprit();
    Say({"encmgr: error: ", file ? "the plug-in " : "a plug-in or a library", file ? file : "", " ", what,
         signal.empty() ? "" : " (SIG", signal, signal.empty() ? "" : ")",
         isScan ? " while it was loaded or unloaded\n" : "\n"});
}

bool IsGuarded()
{
    return s_guarded && s_guarded == getpid();
}

void RefuseEnd()
{
    if (!IsGuarded())
        return;
    s_guarded = 0;
    SayCulprit("has ended the program", "");
    RemoveUnfinishedFile();
    EndNow(kExitPluginEnd);
}

extern "C" void TellCrash(int signal)
{
    std::signal(signal, SIG_DFL);
    if (IsGuarded()) {
        s_guarded = 0;
        const char* const name = sigabbrev_np(signal);
        SayCulprit("has crashed", name ? name : "?");
        RemoveUnfinishedFile();
    }
    std::raise(signal); // it comes as soon as this function has returned
}

} // namespace

void GuardAgainstPlugins()
{
    s_guarded = getpid();
    std::atexit(RefuseEnd);
    std::at_quick_exit(RefuseEnd);

    void* first = nullptr;
    backtrace(&first, 1); // the first one may allocate
    const stack_t stack = {s_stack.data(), 0, s_stack.size()};
    sigaltstack(&stack, nullptr);
    struct sigaction action = {};
    sigemptyset(&action.sa_mask);
    action.sa_handler = TellCrash;
    action.sa_flags = SA_ONSTACK;
    for (const int signal : kCrashes) {
        struct sigaction before = {};
        if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_DFL)
            sigaction(signal, &action, nullptr);
    }
}

void EndGuard()
{
    s_guarded = 0;
}

void EndNow(int exitCode)
{
    syscall(SYS_exit_group, exitCode);
    std::abort();
}

} // namespace host

// Those of the C library run no handler. The program exports these in their place, and plug-ins get them.
extern "C" {
[[gnu::visibility("default")]] void _exit(int status)
{
    host::RefuseEnd();
    host::EndNow(status);
}

[[gnu::visibility("default")]] void _Exit(int status) noexcept
{
    host::RefuseEnd();
    host::EndNow(status);
}
}
