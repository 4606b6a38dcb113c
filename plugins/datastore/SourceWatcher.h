#pragma once

#include "plugins/datastore/WatchedSource.h"

#include "platform/Thread.h"

#include <chrono>
#include <map>
#include <memory>

/// Watches the data sources of the folder and tells a sink of their changes, on a thread of its own that sleeps until
/// the system notifies it of a change in the folder.
class CSourceWatcher {
public:
    /// Of all sources together no more is read at one look: the others come with the next, which follows at once. The
    /// source at which it is reached is read to its end.
    static constexpr std::size_t kMaxLookBytes = 128 * 1024 * 1024;

    explicit CSourceWatcher(std::size_t lookBytes = kMaxLookBytes) : m_nLookBytes(lookBytes) {}
    ~CSourceWatcher() { Stop(); }
    CSourceWatcher(const CSourceWatcher&) = delete;
    CSourceWatcher& operator=(const CSourceWatcher&) = delete;

    /// As IWQ_DsEventSource::Start. Changes after it returns are told. It reads no data: the thread does, and a source
    /// that somebody writes before the thread has read it is told as a whole.
    [[nodiscard]] HRESULT Start(IWQ_DsEventSink* sink);
    /// As IWQ_DsEventSource::Stop.
    [[nodiscard]] HRESULT StopTelling();

private:
    void Stop();
    unsigned Work();
    [[nodiscard]] bool Step();
    /// Waits for a change in the folder, or for the time of the next look. False when told to stop.
    [[nodiscard]] bool Wait();
    void Rearm();
    [[nodiscard]] std::chrono::milliseconds GatherTime() const;
    /// One look at all sources.
    void LookAndTell();
    /// The file of a data source, as a request opens it: whether "BOX.SQLITE" is that of "BOX" the system decides.
    [[nodiscard]] CString PathOf(const CString& name) const;
    void FindSources(CSourceChanges& changes);
    void LookAt(CSourceChanges& changes);
    void LogOnce(const CString& text);

    const std::size_t m_nLookBytes;
    CString m_strFolder;
    CComPtr<IWQ_DsEventSink> m_pSink;
    std::unique_ptr<platform::IDirectoryWatch> m_pWatch;
    platform::CThread m_thread;
    std::atomic<bool> m_bStop = false;
    platform::CManualResetEvent m_stopping; ///< the same, for waiting

    // Of the thread, once it runs.
    std::map<CString, std::unique_ptr<CWatchedSource>> m_sources;
    bool m_bFirst = true;                    ///< nothing was looked at yet
    std::size_t m_nLooks = 0;                ///< since the last notification
    std::chrono::milliseconds m_lookTime{0}; ///< how long the last look took
    bool m_bBusy = false;                    ///< a source was locked at the last look
    bool m_bPutOff = false;                  ///< sources were left for the next look
    CString m_strLast;                       ///< the source that was looked at last
    CString m_strLogged;
};
