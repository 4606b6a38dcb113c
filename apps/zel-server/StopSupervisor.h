#pragma once

#include "apps/zel-server/ServerContext.h"
#include "apps/zel-server/ServerMessages.h"
#include "framework/texts/TextModule.h"
#include "platform/Process.h"
#include "platform/Thread.h"

#include <atomic>
#include <chrono>

/// Looks after a server that is stopping, on a thread of its own because stopping waits for the running request: says
/// that it waits when it takes long, cancels the request at the next signal, and ends the process at the one after, or
/// when the time that a stop may take is over. Lives as long as the stopping.
class CStopSupervisor {
public:
    CStopSupervisor(platform::CProgramSignals& signals, CServerContext& context, const CServerMessages& messages,
                    const SServerOptions& options);
    ~CStopSupervisor();
    CStopSupervisor(const CStopSupervisor&) = delete;
    CStopSupervisor& operator=(const CStopSupervisor&) = delete;

    /// No request runs any more: what is waited for from now on is a look at the directories.
    void TellServerStopped() { m_isServerStopped = true; }

private:
    using Time = std::chrono::nanoseconds;
    enum eWaited { eWaited_Stopped, eWaited_Signal, eWaited_Time };

    void Supervise();
    /// The first waits say what they wait for, when it takes long.
    [[nodiscard]] eWaited WaitPatiently(Time end, const STextCode& text);
    [[nodiscard]] eWaited WaitUntil(Time end);

    platform::CProgramSignals& m_signals;
    CServerContext& m_context;
    const CServerMessages& m_messages;
    Time m_cancelAt;
    Time m_endAt;
    std::atomic<bool> m_isServerStopped = false;
    platform::CManualResetEvent m_evStopped;
    platform::CThread m_thread;
};
