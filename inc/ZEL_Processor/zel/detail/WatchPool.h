#pragma once

#include "ZEL_Processor/ZelRequestWatch.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

/// No part of what zel promises.
namespace zel::detail {

/// Watches of one client for the threads that wait: each belongs to one thread at a time, and to end one takes long, so
/// some are kept for the next wait.
class WatchPool {
public:
    WatchPool(CZelProcessorClient& client, std::wstring output) : m_client(client), m_output(std::move(output)) {}

    /// One watch for the length of a wait.
    class Lease {
    public:
        explicit Lease(WatchPool& pool) : m_pool(pool), m_watch(pool.take()) {}
        ~Lease() { m_pool.giveBack(std::move(m_watch)); }
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;
        [[nodiscard]] CZelRequestWatch* operator->() const { return m_watch.get(); }

    private:
        WatchPool& m_pool;
        std::unique_ptr<CZelRequestWatch> m_watch;
    };

    /// Ends every wait, and each that begins later. Waking is no wait itself, so it is done under the lock.
    void stop()
    {
        const std::lock_guard lock(m_mutex);
        m_stopped = true;
        for (CZelRequestWatch* const watch : m_busy)
            watch->Wake();
    }

private:
    static constexpr std::size_t kMaxIdle = 4;

    [[nodiscard]] std::unique_ptr<CZelRequestWatch> take()
    {
        const std::lock_guard lock(m_mutex);
        std::unique_ptr<CZelRequestWatch> watch;
        if (m_idle.empty()) {
            watch = std::make_unique<CZelRequestWatch>(m_client, m_output);
        } else {
            watch = std::move(m_idle.back());
            m_idle.pop_back();
        }
        m_busy.push_back(watch.get());
        if (m_stopped)
            watch->Wake();
        return watch;
    }
    void giveBack(std::unique_ptr<CZelRequestWatch> watch)
    {
        const std::lock_guard lock(m_mutex);
        std::erase(m_busy, watch.get());
        if (m_idle.size() < kMaxIdle)
            m_idle.push_back(std::move(watch));
    }

    CZelProcessorClient& m_client;
    const std::wstring m_output;
    std::mutex m_mutex;
    bool m_stopped = false;
    std::vector<std::unique_ptr<CZelRequestWatch>> m_idle;
    std::vector<CZelRequestWatch*> m_busy;
};

} // namespace zel::detail
