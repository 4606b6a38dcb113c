#pragma once

#include "FailedRequests.h"
#include "ZEL_Processor/ZelTypes.h"
#include "platform/Mutex.h"
#include "platform/Thread.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

class CRequestQueue;
class CWQ_Thread;
struct CServerSettings;

/// Removes responses and final statuses that nobody took for as long as the host keeps them. A thread of its own finds
/// them, once an hour, for there may be a million. Removed they are by the listener's: while it does that, no request
/// of the same name can begin. Failed requests that are kept for so long are removed by its own thread.
class CHousekeeping {
public:
    /// The finding waits for the removing when there are so many.
    static constexpr std::size_t kMostFound = 1000;
    static constexpr std::size_t kRemovedInATurn = 200;

    CHousekeeping(const CServerSettings& settings, const CRequestQueue& requests, const std::atomic<bool>& isRunning);
    ~CHousekeeping();
    CHousekeeping(const CHousekeeping&) = delete;
    CHousekeeping& operator=(const CHousekeeping&) = delete;

    /// Starts the thread, when the host keeps nothing for ever.
    void Start();
    /// Ends it, and waits for that: for one file.
    void Stop();

    /// One look at the output directory. Waits for RemoveSome when it finds too many.
    void Find();
    /// For the listener's thread, each turn.
    void RemoveSome();
    /// How many files were removed since the last call. A line of the log, when there were any.
    std::uint64_t TellRemoved();

private:
    static unsigned Thread(void* housekeeping);
    bool Step();
    void Add(const CString& name);
    [[nodiscard]] bool WaitUntilFewerThan(std::size_t count);
    [[nodiscard]] bool IsStopping() const { return !m_isRunning || m_evStop.IsSet(); }
    [[nodiscard]] bool IsOld(const CString& path) const;
    [[nodiscard]] bool IsFinalStatus(const CString& path) const;
    bool RemoveFile(const CString& path);

    const CServerSettings& m_settings;
    const CRequestQueue& m_requests;
    const std::atomic<bool>& m_isRunning;
    platform::CManualResetEvent m_evStop;
    const CFailedRequests m_failed;
    std::unique_ptr<CWQ_Thread> m_pThread;
    std::atomic<bool> m_hasFound = false;
    std::atomic<std::uint64_t> m_nRemoved = 0;

    /// Guards the names, never while a file is touched.
    mutable platform::CMutex m_cs;
    std::vector<CString> m_found ZEL_GUARDED_BY(m_cs); ///< names of requests and commands; the oldest first
};
