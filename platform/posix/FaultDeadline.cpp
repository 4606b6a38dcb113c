#include "platform/FaultDeadline.h"

#include <array>
#include <csignal>
#include <ctime>
#include <optional>

// A timer of the kernel's sends the signal: no thread, and nothing of this process has to work for it. Making one
// allocates nothing in the C libraries that this builds with. A handler of a contained run passes it on, for it is none
// of its thread's own doing.

namespace platform {
namespace {

constexpr std::array kFaultSignals = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};

class CTimer {
public:
    explicit CTimer(int number)
    {
        sigevent event = {};
        event.sigev_notify = SIGEV_SIGNAL;
        event.sigev_signo = number;
        m_isMade = timer_create(CLOCK_MONOTONIC, &event, &m_timer) == 0;
    }
    ~CTimer()
    {
        if (m_isMade)
            timer_delete(m_timer);
    }
    CTimer(const CTimer&) = delete;
    CTimer& operator=(const CTimer&) = delete;

    void Start(std::chrono::milliseconds limit) const
    {
        itimerspec time = {};
        time.it_value.tv_sec = limit.count() / 1000;
        time.it_value.tv_nsec = limit.count() % 1000 * 1000000;
        if (m_isMade)
            timer_settime(m_timer, 0, &time, nullptr);
    }

private:
    timer_t m_timer = {};
    bool m_isMade = false;
};

/// An exception has no signal of its own; it would have ended the process by abort.
int SignalOf(const SFaultRecord& fault)
{
    for (const int number : kFaultSignals) {
        if (static_cast<int>(fault.code) == number)
            return number;
    }
    return SIGABRT;
}

} // namespace

struct CFaultDeadline::SState {
    explicit SState(std::chrono::milliseconds time) : limit(time) {}

    const std::chrono::milliseconds limit;
    std::optional<CTimer> timer;
};

CFaultDeadline::CFaultDeadline(std::chrono::milliseconds limit)
    : m_pState(limit.count() > 0 ? std::make_unique<SState>(limit) : nullptr)
{}

CFaultDeadline::~CFaultDeadline() = default;

void CFaultDeadline::Start(const SFaultRecord& fault)
{
    if (!m_pState)
        return;
    m_pState->timer.emplace(SignalOf(fault)).Start(m_pState->limit);
}

} // namespace platform
