#pragma once

#include "ZEL_Processor/ZelServerFigures.h"
#include "platform/Mutex.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>

struct TSRequestItem;

/// Counts what a server does, for a host that asks (SZelServerOptions::figures). From any thread; nothing is called or
/// waited for under its lock.
class CServerFigures {
public:
    void Clear();

    /// Something changed that somebody else knows: what waits, who is registered.
    void Change() { ++m_nChanges; }
    void CountReceived();
    void CountRefused();
    void CountEvent();
    void CountTaskHostRestart();
    void CountScan() { ++m_nScans; }

    /// A run begins. bytes: of its file.
    void Begin(std::size_t slot, const TSRequestItem& item, std::uint64_t bytes);
    void SetType(std::size_t slot, const CString& type);
    void SetProgress(std::size_t slot, std::int32_t percent, const CString& comment);
    /// bytes: of a response that is complete.
    void SetResponse(std::size_t slot, std::uint64_t bytes);
    /// The run has ended; status: what was told last. One that is not final means that the request waits again.
    void End(std::size_t slot, eZelProcRequestStatus status, const CString& reason);
    /// One was cancelled that did not run.
    void EndWaiting(const TSRequestItem& item);

    [[nodiscard]] std::uint64_t Changes() const { return m_nChanges; }
    /// What is counted here; not what waits and who is registered.
    void Fill(SZelServerFigures& figures) const;

    /// At most so many characters, the last one whole.
    [[nodiscard]] static CString Cut(const CString& text, std::size_t most = SZelServerFigures::kLongestText);

private:
    struct SRun {
        SZelRunningFigures shown;
        std::chrono::nanoseconds waited{0};
        std::uint64_t response = 0;
    };

    void Count(const CString& type, eZelProcRequestStatus outcome) ZEL_REQUIRES(m_cs);
    void Keep(SZelEndedFigures ended) ZEL_REQUIRES(m_cs);

    std::atomic<std::uint64_t> m_nChanges = 0;
    std::atomic<std::uint64_t> m_nScans = 0;
    mutable platform::CMutex m_cs;
    /// All but the lists and what others know.
    SZelServerFigures m_counted ZEL_GUARDED_BY(m_cs);
    std::map<CString, SZelTypeFigures> m_types ZEL_GUARDED_BY(m_cs);
    std::map<std::size_t, SRun> m_runs ZEL_GUARDED_BY(m_cs); ///< by slot
    std::uint64_t m_nRuns ZEL_GUARDED_BY(m_cs) = 0;
    std::deque<SZelEndedFigures> m_ended ZEL_GUARDED_BY(m_cs); ///< the latest in front
    std::deque<SZelEndedFigures> m_failed ZEL_GUARDED_BY(m_cs);
};
