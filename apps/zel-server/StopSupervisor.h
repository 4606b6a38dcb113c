#pragma once

#include "apps/zel-server/ServerContext.h"
#include "apps/zel-server/ServerMessages.h"
#include "platform/Process.h"
#include "platform/Thread.h"

/// Looks after a server that is stopping, on a thread of its own because stopping waits for the running request: says
/// that it waits when it takes long, and cancels the request at the next signal. Lives as long as the stopping.
class CStopSupervisor {
public:
    CStopSupervisor(platform::CProgramSignals& signals, CServerContext& context, const CServerMessages& messages);
    ~CStopSupervisor();
    CStopSupervisor(const CStopSupervisor&) = delete;
    CStopSupervisor& operator=(const CStopSupervisor&) = delete;

private:
    void Supervise();
    /// True when a signal to stop came in this time.
    [[nodiscard]] bool WaitForSignal(std::chrono::milliseconds timeout);

    platform::CProgramSignals& m_signals;
    CServerContext& m_context;
    const CServerMessages& m_messages;
    platform::CManualResetEvent m_evStopped;
    platform::CThread m_thread;
};
