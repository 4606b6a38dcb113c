#pragma once

#include "capi/Clients.h"

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

/// Tells, on a thread of its own, that something may have changed in the output directory of a client. It does not keep
/// the client open, but what the client is made of.
class COutputWatch : public std::enable_shared_from_this<COutputWatch> {
public:
    COutputWatch(std::shared_ptr<CClientObject> client, zel_change_callback callback, void* context)
        : m_pClient(std::move(client)), m_pCallback(callback), m_pContext(context)
    {
        zel::detail::Core& core = m_pClient->Core();
        m_pWatch = std::make_unique<CZelRequestWatch>(core.client, core.place.output);
    }

    /// False when the system has no thread to give. Nothing is told after a stop.
    [[nodiscard]] bool Start();
    /// When it returns nothing is told and will be, unless it is the callback that calls.
    void Stop();

private:
    /// Between two calls.
    static constexpr std::chrono::milliseconds kPause{20};
    static constexpr std::chrono::milliseconds kLookAnyway{1000};

    void Run();
    [[nodiscard]] bool MayTell();
    [[nodiscard]] bool Pause();

    std::shared_ptr<CClientObject> m_pClient;   ///< the thread's, to its end
    std::unique_ptr<CZelRequestWatch> m_pWatch; ///< the same, but to be woken
    const zel_change_callback m_pCallback;
    void* const m_pContext;
    platform::CMutex m_cs;
    platform::CCondition m_changed;
    bool m_bStops ZEL_GUARDED_BY(m_cs) = false;
    bool m_bEnded ZEL_GUARDED_BY(m_cs) = true; ///< or not begun
    std::thread::id m_thread ZEL_GUARDED_BY(m_cs);
};
