#include "apps/zel-server/StopSupervisor.h"

#include "platform/Os.h"

#include "ServerTexts.h"

#include <algorithm>

using namespace std::chrono_literals;

namespace {

/// A server without a running request has stopped long before.
constexpr std::chrono::milliseconds kPatience = 1500ms;
/// How soon the end of the stopping is noticed: nothing waits for a signal and an event at once.
constexpr std::chrono::milliseconds kStep = 20ms;

} // namespace

CStopSupervisor::CStopSupervisor(platform::CProgramSignals& signals, CServerContext& context,
                                 const CServerMessages& messages)
    : m_signals(signals), m_context(context), m_messages(messages)
{
    const bool started = m_thread.Start([this] {
        platform::SetCurrentThreadName("zel-server::Stop");
        Supervise();
        return 0U;
    });
    // Then a second signal can't be heard: better the request ends now than never.
    if (!started)
        m_context.CancelForGood();
}

CStopSupervisor::~CStopSupervisor()
{
    m_evStopped.Set();
    static_cast<void>(m_thread.Join());
}

void CStopSupervisor::Supervise()
{
    bool isSignalled = WaitForSignal(kPatience);
    if (m_evStopped.IsSet())
        return;
    if (!isSignalled) {
        m_messages.Note(WQ_ModuleText(ServerTexts::IDS_WAITING_FOR_REQUEST));
        isSignalled = WaitForSignal(std::chrono::hours(24 * 365));
    }
    if (isSignalled) {
        m_messages.Note(WQ_ModuleText(ServerTexts::IDS_CANCELLING));
        m_context.CancelForGood();
    }
}

bool CStopSupervisor::WaitForSignal(std::chrono::milliseconds timeout)
{
    const auto end = platform::Clock().Steady() + timeout;
    while (!m_evStopped.IsSet()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - platform::Clock().Steady());
        if (left <= 0ms)
            return false;
        platform::eProgramSignal received = platform::eProgramSignal_Stop;
        if (m_signals.WaitFor(std::min(left, kStep), received) && received == platform::eProgramSignal_Stop)
            return true;
    }
    return false;
}
