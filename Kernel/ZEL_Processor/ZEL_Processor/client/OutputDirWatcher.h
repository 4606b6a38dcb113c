#pragma once

#include "ZEL_Processor/ZelTypes.h"
#include "platform/Mutex.h"
#include "platform/OsError.h"
#include "platform/ReliableWatch.h"
#include "platform/Thread.h"

#include <atomic>
#include <memory>

class CWQ_Thread;

/// Knows whether something changed in a directory since its owner looked the last time. A thread of its own watches;
/// nothing is known without it, and at first everything may have changed.
class COutputDirWatcher {
public:
    COutputDirWatcher();
    ~COutputDirWatcher();
    COutputDirWatcher(const COutputDirWatcher&) = delete;
    COutputDirWatcher& operator=(const COutputDirWatcher&) = delete;

    /// True when the directory is watched, by a thread that runs already or a new one. False, with a report, when it
    /// can't be.
    [[nodiscard]] bool Start(const CString& dir, const platform::SWatchOptions& options = {});
    /// Ends the thread, waiting at most some seconds, and forgets what changed. Harmless without one.
    void Stop();

    /// Why the last start failed. None: it was too slow.
    [[nodiscard]] platform::eOsError WatchError() const { return m_watchError; }

    [[nodiscard]] bool IsChanged() const { return m_bOutputDirChange; }
    void Reset();
    [[nodiscard]] bool HasThread() const { return m_pThreadListenFileWatch != nullptr; }

private:
    static unsigned FileWatchThread(void* watcher);
    bool ListenFileWatch();
    void SetOutputDirChange();

    CString m_strDir;                  ///< constant while the thread runs
    platform::SWatchOptions m_options; ///< likewise
    std::atomic<bool> m_bListening = false;
    std::atomic<bool> m_bOutputDirChange = true;
    std::atomic<bool> m_bWatching = false;
    std::atomic<platform::eOsError> m_watchError = platform::eOsError_None;
    platform::CManualResetEvent m_evLooked;  ///< set while no change is known, and to end the thread
    platform::CManualResetEvent m_evStarted; ///< set once the thread watches, or can't
    /// For changes of "listening" and "changed" together with the event. The thread's object is its owner's alone.
    platform::CMutex m_cs;
    std::unique_ptr<CWQ_Thread> m_pThreadListenFileWatch;
};
