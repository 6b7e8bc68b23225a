#include "host/base/ReaderThread.h"

#include <csignal>
#include <utility>

namespace host
{

namespace
{

// One that nothing else uses.
int WakeSignal()
{
    return SIGRTMIN + 5;
}

} // namespace

std::thread StartReader(std::function<void()> read)
{
    struct sigaction action = {};
    action.sa_handler = [](int) {}; // no SA_RESTART: what waits returns
    sigaction(WakeSignal(), &action, nullptr);

    sigset_t blocked, before;
    sigfillset(&blocked);
    sigdelset(&blocked, WakeSignal());
    pthread_sigmask(SIG_SETMASK, &blocked, &before);
    try {
        std::thread thread(std::move(read));
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        return thread;
    } catch (...) {
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        throw;
    }
}

void WakeReader(std::thread& reader)
{
    pthread_kill(reader.native_handle(), WakeSignal());
}

} // namespace host
