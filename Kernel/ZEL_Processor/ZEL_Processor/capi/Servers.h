#pragma once

#include "capi/Handles.h"
#include "capi/ServerOptions.h"
#include "capi/ServerServices.h"

#include "ZEL_Processor/ZelProcessorContext.h"
#include "ZEL_Processor/ZelProcessorServer.h"
#include "platform/Thread.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>

/// A server, with a thread of its own that makes it, waits, and ends it: COM is there as long as it is.
class CServerObject final : CZelProcessorContext, CZelProcessorEvent {
public:
    CServerObject(STakenOptions options, std::wstring requestDir, std::wstring outputDir);
    virtual ~CServerObject();
    CServerObject(const CServerObject&) = delete;
    CServerObject& operator=(const CServerObject&) = delete;

    /// Returns when requests are accepted, or with the reason why not.
    [[nodiscard]] SOutcome Start();
    /// Returns when it has ended.
    void Stop(bool cancel);
    [[nodiscard]] std::int32_t State() const { return m_nState; }
    [[nodiscard]] const zel_server_options& Given() const { return m_options.given; }
    /// As zel_server_drain.
    [[nodiscard]] SOutcome Drain(std::chrono::milliseconds timeout);

    /// Calls body with the server, which does not end meanwhile.
    template <class Body>
    [[nodiscard]] SOutcome With(const Body& body)
    {
        {
            const platform::CMutexLock lock(m_cs);
            if (!m_bUsable)
                return {ZEL_WRONG_TIME, "the server has been stopped"};
            ++m_nUses;
        }
        struct SUse {
            CServerObject& server;
            ~SUse()
            {
                const platform::CMutexLock lock(server.m_cs);
                --server.m_nUses;
                server.m_unused.NotifyAll();
            }
        };
        const SUse use{*this};
        return body(*m_server);
    }

private:
    HRESULT GetHostService(REFIID iid, void** service) override;
    bool IsClosing() override { return m_bClosing; }
    void SetCanceled(bool canceled) override { m_bCanceled = canceled; }
    bool IsCanceled() override { return m_bCanceled || m_bCanceledForGood; }
    void OnRequestDone() override;

    void Serve();
    [[nodiscard]] SOutcome Open();
    void End();
    void Tell(std::int32_t state);

    const CServerServices::CInstalled m_services;
    const STakenOptions m_options;
    const std::wstring m_strRequestDir;
    const std::wstring m_strOutputDir;
    std::optional<CZelProcessorServer> m_server; ///< made and ended by the thread
    platform::CThread m_thread;
    platform::CManualResetEvent m_started;
    platform::CManualResetEvent m_stops;
    platform::CManualResetEvent m_over; ///< failed, drained or stopped
    SOutcome m_outcome;                 ///< of the start
    std::atomic<std::int32_t> m_nState = ZEL_SERVER_RUNS;
    std::atomic<bool> m_bClosing = false;
    std::atomic<bool> m_bCanceled = false;
    std::atomic<bool> m_bCanceledForGood = false;
    platform::CMutex m_cs;
    platform::CCondition m_unused;
    bool m_bUsable ZEL_GUARDED_BY(m_cs) = false;
    unsigned m_nUses ZEL_GUARDED_BY(m_cs) = 0;
};

using CServers = CHandles<CServerObject, zel_server>;
