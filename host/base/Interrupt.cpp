#include "host/base/Interrupt.h"

#include <csignal>
#include <initializer_list>

namespace host
{

namespace
{

volatile std::sig_atomic_t s_signal = 0;

extern "C" void NoteSignal(int signal)
{
    s_signal = signal;
}

} // namespace

void CatchInterrupts()
{
    struct sigaction action = {};
    sigemptyset(&action.sa_mask);
    action.sa_handler = NoteSignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND); // no SA_RESTART: a read that waits returns
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before = {};
        // Under nohup a hang-up stays ignored.
        if (signal == SIGHUP && sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_IGN)
            continue;
        sigaction(signal, &action, nullptr);
    }
    action.sa_handler = SIG_IGN;
    action.sa_flags = 0;
    sigaction(SIGPIPE, &action, nullptr);
    sigaction(SIGXFSZ, &action, nullptr);
}

int InterruptSignal()
{
    return static_cast<int>(s_signal);
}

} // namespace host
