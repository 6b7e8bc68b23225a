#include "host/base/KeyReader.h"

#include <algorithm>
#include <csignal>
#include <iterator>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace host
{

namespace
{

// Ends that don't come through the destructor.
constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL};

termios s_before;
struct sigaction s_actions[std::size(kSignals)]; // of others

// The terminal first; then the signal has the effect that it had before.
extern "C" void RestoreAndPassOn(int signal)
{
    tcsetattr(STDIN_FILENO, TCSANOW, &s_before);
    const auto at = std::find(std::begin(kSignals), std::end(kSignals), signal) - std::begin(kSignals);
    sigaction(signal, &s_actions[at], nullptr);
    raise(signal);
}

// A job in the background would be stopped for touching the terminal.
bool IsOurTerminal()
{
    return isatty(STDIN_FILENO) && tcgetpgrp(STDIN_FILENO) == getpgrp() && tcgetattr(STDIN_FILENO, &s_before) == 0;
}

} // namespace

KeyReader::KeyReader() : m_isListening(IsOurTerminal())
{
    if (!m_isListening)
        return;
    struct sigaction action = {};
    action.sa_handler = RestoreAndPassOn;
    sigfillset(&action.sa_mask);
    for (size_t i = 0; i < std::size(kSignals); ++i) {
        sigaction(kSignals[i], nullptr, &s_actions[i]);
        if (s_actions[i].sa_handler != SIG_IGN) // NOLINT(performance-no-int-to-ptr): the system's own
            sigaction(kSignals[i], &action, nullptr);
    }
    termios keys = s_before;
    keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    keys.c_cc[VMIN] = 0;
    keys.c_cc[VTIME] = 0;
    keys.c_cc[VSUSP] = _POSIX_VDISABLE; // what is live can't be suspended
    tcsetattr(STDIN_FILENO, TCSANOW, &keys);
}

KeyReader::~KeyReader()
{
    if (!m_isListening)
        return;
    tcsetattr(STDIN_FILENO, TCSANOW, &s_before);
    for (size_t i = 0; i < std::size(kSignals); ++i) {
        struct sigaction current = {};
        sigaction(kSignals[i], nullptr, &current);
        if (current.sa_handler == RestoreAndPassOn)
            sigaction(kSignals[i], &s_actions[i], nullptr);
    }
}

char KeyReader::Take() const
{
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    char key = 0;
    if (!m_isListening || poll(&input, 1, 0) <= 0 || read(STDIN_FILENO, &key, 1) != 1)
        return 0;
    return key;
}

} // namespace host
