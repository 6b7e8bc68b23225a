#include "host/validate/ChildProcess.h"

#include "host/base/ExitCode.h"
#include "host/base/Interrupt.h"
#include "host/base/Text.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace host
{

namespace
{

using std::chrono::milliseconds;
using std::chrono::steady_clock;

void SendTo(int stream, const char* file, int flags)
{
    const int descriptor = open(file, flags, 0600);
    if (descriptor >= 0 && descriptor != stream) {
        dup2(descriptor, stream);
        close(descriptor);
    }
}

// Between fork and exec. Ends with its parent, and leaves no core file behind.
[[noreturn]] void Become(char* const* arguments, const std::string& output, const std::string& errors)
{
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_CORE, &none);
    SendTo(STDIN_FILENO, "/dev/null", O_RDONLY);
    if (!output.empty())
        SendTo(STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT | O_APPEND);
    if (!errors.empty())
        SendTo(STDERR_FILENO, errors.c_str(), O_WRONLY | O_CREAT | O_APPEND);
    execv("/proc/self/exe", arguments);
    _exit(127);
}

ChildEnd EndOf(int status)
{
    ChildEnd end;
    if (WIFSIGNALED(status))
        end.signal = WTERMSIG(status);
    else
        end.exitCode = WEXITSTATUS(status);
    return end;
}

// Kills the process and its group, and waits for it.
void Kill(pid_t child)
{
    kill(-child, SIGKILL);
    kill(child, SIGKILL);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
}

} // namespace

ChildEnd RunSelf(const std::vector<std::string>& arguments, milliseconds time, const std::string& output,
                 const std::string& errors)
{
    std::vector<char*> pointers = {const_cast<char*>("encmgr")};
    for (const std::string& argument : arguments)
        pointers.push_back(const_cast<char*>(argument.c_str()));
    pointers.push_back(nullptr);

    const auto end = steady_clock::now() + time;
    const pid_t child = fork();
    if (child < 0)
        throw HostError(kExitInternal, Format("there can be no further process: %s", std::strerror(errno)));
    if (child == 0)
        Become(pointers.data(), output, errors);

    for (milliseconds pause(1);; pause = std::min(2 * pause, milliseconds(20))) {
        int status = 0;
        if (waitpid(child, &status, WNOHANG) == child) {
            kill(-child, SIGKILL); // what it has left running
            return EndOf(status);
        }
        if (InterruptSignal()) {
            Kill(child);
            throw HostError(kExitSignal + InterruptSignal(), "interrupted");
        }
        if (steady_clock::now() >= end) {
            Kill(child);
            ChildEnd timedOut;
            timedOut.isTimedOut = true;
            return timedOut;
        }
        std::this_thread::sleep_for(pause);
    }
}

} // namespace host
