#include "OutputDirWatcher.h"

#include "ZEL_Processor/LockFile.h"
#include "com/ComThread.h"
#include "framework/Exceptions.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "framework/WorkerThread.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "protocol/WatchDirectory.h"
#include "reports/ReportLines.h"
#include "reports/SourceNames.h"

#include <chrono>

using namespace std::chrono_literals;

namespace {

constexpr auto kWatchTimeout = 1000ms;
constexpr auto kThreadStartTimeout = 5000ms;
constexpr auto kThreadEndTimeout = 5000ms;
/// Its lock file is made and removed only to wake the watch thread.
constexpr const wchar_t* kStopName = L"ThreadListenFileWatchStop";

void ReportWatch(long line, const wchar_t* text, platform::eOsError error)
{
    WQ_ReportErrorNow(SourceNames::kZelProcessorClient, line, L"CZelProcessorClient::Listen()",
                      text + platform::OsErrorText(error));
}

} // namespace

COutputDirWatcher::COutputDirWatcher() = default;

COutputDirWatcher::~COutputDirWatcher()
{
    Stop();
}

bool COutputDirWatcher::Start(const CString& dir, const platform::SWatchOptions& options)
{
    {
        const platform::CMutexLock lock(m_cs);
        // One that ended, because it could not watch, hears nothing.
        if (m_pThreadListenFileWatch && !m_pThreadListenFileWatch->WaitFor(0ms))
            return true;
        m_strDir = dir;
        m_options = options;
        // Set here, not by the thread: a stop that comes before the thread runs must not be undone by it.
        m_bListening = true;
        m_bWatching = false;
        m_watchError.store(platform::eOsError_None);
        m_evStarted.Reset();
        m_pThreadListenFileWatch = AfxBeginThread(&COutputDirWatcher::FileWatchThread, this);
        if (!m_pThreadListenFileWatch)
            return false;
    }
    // Who looks and resets before the directory is watched would miss what changes between the look and the watch.
    return m_evStarted.WaitFor(kThreadStartTimeout) && m_bWatching;
}

unsigned COutputDirWatcher::FileWatchThread(void* watcher)
{
    platform::SetCurrentThreadName("ZelProcessorClient::FileWatchThread");
    const CComThread com(CComThread::eEnd_WhenFresh);
    return static_cast<COutputDirWatcher*>(watcher)->ListenFileWatch() ? 0 : 1;
}

bool COutputDirWatcher::ListenFileWatch()
{
    std::unique_ptr<platform::IDirectoryWatch> watch;
    if (const platform::eOsError error =
            Protocol::WatchDirectory(m_strDir, platform::eWatchFilter_FileNameAndLastWrite, m_options, watch);
        !platform::Succeeded(error)) {
        ReportWatch(ReportLines::kOutputDirNotWatched, L"FindFirstChangeNotification failed.\n", error);
        m_watchError.store(error);
        m_evStarted.Set();
        AfxThrowNotSupportedException();
    }
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Debug, ZEL_SOURCE_LOCATION,
                     L"CZelProcessorClient::Listen() started");
    // What changed before the watch was made counts, too: the registration is older.
    SetOutputDirChange();
    m_bWatching = true;
    m_evStarted.Set();
    while (m_bListening && !CWQ_Thread::IsQuitPostedToCurrent()) {
        // While a change is known, further ones tell nothing new: without this, each file that the server writes for
        // one of fifty clients would wake all of them. They wait in the watch until somebody has looked.
        if (!m_evLooked.WaitFor(kWatchTimeout) || watch->Wait(kWatchTimeout) == platform::eWaitResult_Timeout)
            continue;
        const platform::eOsError error = watch->Rearm();
        if (platform::Succeeded(error)) {
            SetOutputDirChange();
        } else {
            ReportWatch(ReportLines::kOutputDirNotRearmed, L"FindNextChangeNotification failed.\n", error);
            platform::Clock().SleepFor(kWatchTimeout); // the next wait would not wait
        }
    }
    return true;
}

void COutputDirWatcher::Stop()
{
    if (!m_pThreadListenFileWatch)
        return;
    {
        const platform::CMutexLock lock(m_cs);
        m_bListening = false;
        m_evLooked.Set();
    }
    {
        CLockFile wake(platform::JoinPath(m_strDir, kStopName));
        wake.Lock(true);
        wake.Unlock();
    }
    if (!m_pThreadListenFileWatch->WaitFor(kThreadEndTimeout)) {
        WQ_MessageBox(L"Something went wrong with m_pThreadListenFileWatch thread!", eMessageStyle_Error);
        m_pThreadListenFileWatch->PostQuit();
    }
    m_pThreadListenFileWatch.reset();
    const platform::CMutexLock lock(m_cs);
    m_bOutputDirChange = false;
}

void COutputDirWatcher::SetOutputDirChange()
{
    const platform::CMutexLock lock(m_cs);
    m_bOutputDirChange = true;
    if (m_bListening)
        m_evLooked.Reset();
}

void COutputDirWatcher::Reset()
{
    if (!m_bOutputDirChange)
        return;
    const platform::CMutexLock lock(m_cs);
    m_bOutputDirChange = false;
    m_evLooked.Set();
}
