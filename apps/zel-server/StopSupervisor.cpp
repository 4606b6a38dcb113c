#include "apps/zel-server/StopSupervisor.h"

#include "apps/common/ExitCodes.h"
#include "platform/Os.h"

#include "ServerTexts.h"

#include <algorithm>

using namespace std::chrono_literals;

namespace {

/// A server without a running request has stopped long before.
constexpr std::chrono::milliseconds kPatience = 1500ms;
/// How soon the end of the stopping is noticed: nothing waits for a signal and an event at once.
constexpr std::chrono::milliseconds kStep = 20ms;
/// Of the time that a stop may take a task has this part to see that it is cancelled.
constexpr int kShareOfCancel = 5;

} // namespace

CStopSupervisor::CStopSupervisor(platform::CProgramSignals& signals, CServerContext& context,
                                 const CServerMessages& messages, const SServerOptions& options)
    : m_signals(signals), m_context(context), m_messages(messages), m_cancelAt(Time::max()), m_endAt(Time::max())
{
    if (const std::chrono::milliseconds limit = options.stopTimeout.value_or(0ms); limit > 0ms) {
        const Time now = platform::Clock().Steady();
        m_endAt = now + limit;
        // The next server runs it again, which is better than cancelled; else its client shall hear of its end.
        if (!options.resume || options.strict)
            m_cancelAt = m_endAt - limit / kShareOfCancel;
    }
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
    eWaited waited = WaitPatiently(std::min(m_cancelAt, m_endAt), ServerTexts::IDS_WAITING_FOR_REQUEST);
    if (waited == eWaited_Stopped)
        return;
    if (!m_isServerStopped && (waited == eWaited_Signal || m_cancelAt < m_endAt)) {
        m_messages.Note(WQ_ModuleText(ServerTexts::IDS_CANCELLING));
        m_context.CancelForGood();
        waited = WaitPatiently(m_endAt, ServerTexts::IDS_CANCEL_NOT_SEEN);
    }
    if (waited == eWaited_Stopped)
        return;
    const STextCode& why = waited == eWaited_Signal ? ServerTexts::IDS_ENDED_BY_SIGNAL : ServerTexts::IDS_ENDED_BY_TIME;
    m_messages.Error(WQ_ModuleText(m_isServerStopped ? ServerTexts::IDS_ENDED_BY_LOOK : why));
    platform::EndProcess(eExitCode_ClientError);
}

CStopSupervisor::eWaited CStopSupervisor::WaitPatiently(Time end, const STextCode& text)
{
    const Time patience = std::min(end, platform::Clock().Steady() + kPatience);
    eWaited waited = WaitUntil(patience);
    if (waited == eWaited_Signal && m_isServerStopped)
        waited = WaitUntil(patience); // all but done: a stop that was asked for twice shall not end as a failure
    if (waited != eWaited_Time || platform::Clock().Steady() >= end)
        return waited;
    m_messages.Note(WQ_ModuleText(m_isServerStopped ? ServerTexts::IDS_WAITING_FOR_LOOK : text));
    return WaitUntil(end);
}

CStopSupervisor::eWaited CStopSupervisor::WaitUntil(Time end)
{
    while (!m_evStopped.IsSet()) {
        const Time now = platform::Clock().Steady();
        if (now >= end)
            return eWaited_Time;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(std::min<Time>(end - now, kStep));
        platform::eProgramSignal received = platform::eProgramSignal_Stop;
        if (!m_signals.WaitFor(left, received))
            continue;
        if (received == platform::eProgramSignal_Stop)
            return eWaited_Signal;
        if (received == platform::eProgramSignal_Reload)
            m_messages.Reopen();
    }
    return eWaited_Stopped;
}
