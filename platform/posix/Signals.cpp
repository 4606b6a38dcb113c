#include "platform/Process.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace platform {

namespace {

bool IsIgnored(int number)
{
    struct sigaction action = {};
    return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

/// A terminal that has gone is no longer that of its processes when they are told.
bool HasTerminal()
{
    const int terminal = open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (terminal >= 0)
        close(terminal);
    return terminal >= 0;
}

const wchar_t* SignalName(int number)
{
    switch (number) {
    case SIGTERM: return L"SIGTERM";
    case SIGINT: return L"SIGINT";
    case SIGUSR1: return L"SIGUSR1";
    default: return L"SIGHUP";
    }
}

} // namespace

/// The signals are blocked on every thread, for threads inherit the mask of the one that starts them, and are fetched
/// where somebody waits for them: no code runs in a handler.
struct CProgramSignals::SState {
    sigset_t received = {};
    sigset_t oldMask = {};
    struct sigaction oldFileSize = {};
    bool isServer = false;
    bool hadTerminal = false;
    bool stopped = false;
    std::wstring cause = {};

    eProgramSignal MeaningOf(int number) const
    {
        if (number == SIGUSR1)
            return eProgramSignal_Step;
        const bool isTerminalGone = hadTerminal && !HasTerminal();
        return number == SIGHUP && isServer && !isTerminalGone ? eProgramSignal_Reload : eProgramSignal_Stop;
    }
};

CProgramSignals::CProgramSignals(eSignalSet set) : m_pState(std::make_unique<SState>())
{
    m_pState->isServer = set != eSignalSet_Tool;
    m_pState->hadTerminal = m_pState->isServer && HasTerminal();
    sigset_t& received = m_pState->received;
    sigemptyset(&received);
    sigaddset(&received, SIGTERM);
    sigaddset(&received, SIGINT);
    if (!IsIgnored(SIGHUP)) // a blocked signal is received although it is ignored
        sigaddset(&received, SIGHUP);
    if (m_pState->isServer)
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
        siginfo_t info = {};
        const int number = sigtimedwait(&m_pState->received, &info, &wait);
        if (number > 0) {
            received = m_pState->MeaningOf(number);
            if (number == SIGHUP && received == eProgramSignal_Stop && m_pState->stopped)
                continue;
            m_pState->stopped = m_pState->stopped || received == eProgramSignal_Stop;
            m_pState->cause = SignalName(number);
            if (info.si_code <= 0) // sent by somebody, not by the system
                m_pState->cause += L" of process " + std::to_wstring(info.si_pid);
            return true;
        }
        if (errno != EINTR)
            return false;
    }
}

std::wstring CProgramSignals::Cause() const
{
    return m_pState->cause;
}

void CProgramSignals::RequestStop()
{
    kill(getpid(), SIGTERM);
}

void EndProcess(int exitCode)
{
    _exit(exitCode);
}

} // namespace platform
