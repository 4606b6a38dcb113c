#include "platform/Process.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <unistd.h>

namespace platform {

namespace {

bool IsIgnored(int number)
{
    struct sigaction action = {};
    return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

} // namespace

/// The signals are blocked on every thread, for threads inherit the mask of the one that starts them, and are fetched
/// where somebody waits for them: no code runs in a handler.
struct CProgramSignals::SState {
    sigset_t received = {};
    sigset_t oldMask = {};
    struct sigaction oldFileSize = {};
    bool stopped = false;
};

CProgramSignals::CProgramSignals(bool acceptStep) : m_pState(std::make_unique<SState>())
{
    sigset_t& received = m_pState->received;
    sigemptyset(&received);
    sigaddset(&received, SIGTERM);
    sigaddset(&received, SIGINT);
    if (!IsIgnored(SIGHUP)) // a blocked signal is received although it is ignored
        sigaddset(&received, SIGHUP);
    if (acceptStep)
        sigaddset(&received, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &received, &m_pState->oldMask);

    // A limit of the file size then fails the one write that meets it, instead of ending the program.
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGXFSZ, &ignore, &m_pState->oldFileSize);
}

CProgramSignals::~CProgramSignals()
{
    // A second request to stop is answered by the stop that is going on, not by a sudden end.
    const timespec none = {};
    while (sigtimedwait(&m_pState->received, nullptr, &none) > 0 || errno == EINTR) {
    }
    pthread_sigmask(SIG_SETMASK, &m_pState->oldMask, nullptr);
    sigaction(SIGXFSZ, &m_pState->oldFileSize, nullptr);
}

bool CProgramSignals::WaitFor(std::chrono::milliseconds timeout, eProgramSignal& received)
{
    using std::chrono::steady_clock;
    constexpr std::chrono::milliseconds longest = std::chrono::hours(24 * 365);
    const auto end = steady_clock::now() + std::min(timeout, longest);
    for (;;) {
        const auto left = std::max(end - steady_clock::now(), steady_clock::duration::zero());
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
        timespec wait = {};
        wait.tv_sec = seconds.count();
        wait.tv_nsec = std::chrono::nanoseconds(left - seconds).count();
        const int number = sigtimedwait(&m_pState->received, nullptr, &wait);
        if (number == SIGHUP && m_pState->stopped)
            continue;
        if (number > 0) {
            received = number == SIGUSR1 ? eProgramSignal_Step : eProgramSignal_Stop;
            m_pState->stopped = m_pState->stopped || received == eProgramSignal_Stop;
            return true;
        }
        if (errno != EINTR)
            return false;
    }
}

void CProgramSignals::RequestStop()
{
    kill(getpid(), SIGTERM);
}

} // namespace platform
