#include "host/base/Interrupt.h"

#include <atomic>
#include <csignal>
#include <cstdint>
#include <ctime>
#include <initializer_list> // IWYU pragma: keep; loops over lists

namespace host
{

namespace
{

constexpr int kEndings[] = {SIGINT, SIGTERM, SIGHUP};

// Several signals within so short a time are one wish: timeout(1) sends each signal twice, to the program and to its
// group, and a shell passes on what the terminal has sent to both.
constexpr int64_t kOneWish = 100'000'000; // nanoseconds

std::atomic<int> s_signal = 0;
std::atomic<int64_t> s_time = 0;
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<int64_t>::is_always_lock_free);

int64_t Now()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

extern "C" void NoteSignal(int signal)
{
    if (!s_signal) {
        s_time = Now();
        s_signal = signal;
    } else if (Now() - s_time > kOneWish) {
        std::signal(signal, SIG_DFL);
        std::raise(signal); // it comes as soon as this function has returned
    }
}

} // namespace

void CatchInterrupts()
{
    struct sigaction action = {};
    sigemptyset(&action.sa_mask);
    for (const int signal : kEndings)
        sigaddset(&action.sa_mask, signal);
    action.sa_handler = NoteSignal;
    action.sa_flags = 0; // no SA_RESTART: a read that waits returns
    for (const int signal : kEndings) {
        struct sigaction before = {};
        // Under nohup a hang-up stays ignored.
        if (signal == SIGHUP && sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_IGN)
            continue;
        sigaction(signal, &action, nullptr);
    }
    action.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &action, nullptr);
    sigaction(SIGXFSZ, &action, nullptr);
}

int InterruptSignal()
{
    return s_signal;
}

} // namespace host
