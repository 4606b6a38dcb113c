#pragma once

#include "ZEL_Processor/zel/Session.h"
#include "ZEL_Processor/zel/detail/Core.h"

#include <condition_variable>
#include <functional>
#include <thread>

/// No part of what zel promises.
namespace zel::detail {

/// Tells of the changes of requests, on a thread of its own that sleeps while nothing changes and exists while there is
/// somebody to tell. One call at a time.
class Follower {
public:
    using Callback = std::function<void(const Status&)>;

    /// One request that is followed. Used by the thread alone, but for its address.
    struct Entry {
        std::wstring name;
        Callback callback;
        std::optional<Status> told;
    };

    explicit Follower(Core& core) : m_core(core), m_watch(core.client, core.place.output) {}
    ~Follower() { stop(); }
    Follower(const Follower&) = delete;
    Follower& operator=(const Follower&) = delete;

    /// Code::stopped, systemError. What the callback ends is complete by now: it may run before this returns. It does
    /// not run after a failure.
    [[nodiscard]] Result<void> follow(const std::shared_ptr<Entry>& entry)
    {
        const std::lock_guard lock(m_mutex);
        if (m_stopped)
            return Core::stopped();
        if (!m_thread.joinable() && !platform::Threads().Start([this] { run(); }, m_thread))
            return Error{Code::systemError, "the system has no thread to give"};
        m_entries.push_back(entry);
        wake();
        return {};
    }
    /// When it returns the callback does not run and will not, unless it is the callback that calls.
    void unfollow(const std::shared_ptr<Entry>& entry)
    {
        Callback callback; // goes here, with what it holds, and not at some later time
        std::unique_lock lock(m_mutex);
        std::erase(m_entries, entry);
        if (m_thread.get_id() == std::this_thread::get_id())
            return;
        m_changed.wait(lock, [&] { return m_called != entry; });
        callback.swap(entry->callback);
        lock.unlock();
    }
    /// Ends the thread; nobody is told of anything from then on. Not from a callback.
    void stop()
    {
        {
            const std::lock_guard lock(m_mutex);
            m_stopped = true;
            wake();
        }
        if (m_thread.joinable())
            m_thread.join();
    }

private:
    /// A request that writes its status all the time is told of fifty times a second.
    static constexpr std::chrono::milliseconds kPause{20};
    /// How often to look anyway: nobody tells of a request that was taken out of the queue without a status.
    static constexpr std::chrono::milliseconds kLookAnyway{1000};

    void wake()
    {
        m_news = true;
        m_changed.notify_all();
        m_watch.Wake();
    }
    void run()
    {
        const Session session;
        while (waitForWork()) {
            for (const std::shared_ptr<Entry>& entry : entries())
                look(entry);
        }
    }
    [[nodiscard]] bool waitForWork()
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_stopped || !m_entries.empty(); });
        const bool isNews = m_changed.wait_for(lock, kPause, [this] { return m_stopped || m_news; });
        m_news = false;
        lock.unlock();
        if (!isNews)
            static_cast<void>(m_watch.WaitForChange(kLookAnyway));
        lock.lock();
        return !m_stopped;
    }
    [[nodiscard]] std::vector<std::shared_ptr<Entry>> entries()
    {
        const std::lock_guard lock(m_mutex);
        return m_entries;
    }
    void look(const std::shared_ptr<Entry>& entry)
    {
        const Status status = m_core.status(entry->name);
        if (entry->told == status)
            return;
        {
            const std::lock_guard lock(m_mutex);
            if (m_stopped || std::find(m_entries.begin(), m_entries.end(), entry) == m_entries.end())
                return;
            m_called = entry;
        }
        const bool isOver = !tell(*entry, status) || status.hasEnded();
        entry->told = status;
        const std::lock_guard lock(m_mutex);
        if (isOver)
            std::erase(m_entries, entry);
        m_called.reset();
        m_changed.notify_all();
    }
    /// False for a callback that throws, which it must not: it is not called again.
    [[nodiscard]] static bool tell(const Entry& entry, const Status& status)
    {
        try {
            entry.callback(status);
            return true;
        } catch (...) {
            WQ_ReportErrorNow(L"ZEL_Processor/zel/detail/Follower", 1, L"zel::Request::onChange",
                              L"The callback of a request threw: it is not called again");
            return false;
        }
    }

    Core& m_core;
    CZelRequestWatch m_watch;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_stopped = false;
    bool m_news = false;
    std::vector<std::shared_ptr<Entry>> m_entries;
    std::shared_ptr<Entry> m_called;
    std::thread m_thread;
};

} // namespace zel::detail
