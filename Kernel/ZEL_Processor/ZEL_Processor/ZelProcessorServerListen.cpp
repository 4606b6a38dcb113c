#include "ProtocolFiles.h"
#include "SourceNames.h"
#include "StringCodes.h"
#include "ZEL_Processor/ZelProcessor.h"
#include "ZEL_Processor/ZelProcessorServer.h"
#include "ZelProcessorProgressStatusFile.h"
#include "framework/CrashReport.h"
#include "framework/Exceptions.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "framework/WorkerThread.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/Thread.h"

#include <chrono>

using namespace std::chrono_literals;

namespace {

constexpr long kLineWatchFailed = 140;
constexpr long kLineRearmFailed = 162;
constexpr long kLineScanFailed = 170;
constexpr long kLineNotSynced = 185;
/// A stop wakes the listener, so this only bounds what a wake-up that got lost could cost.
constexpr auto kListenTimeout = 1000ms;
/// The change that asked for a scan is taken by then, so a scan that failed has to be made up for unasked.
constexpr auto kScanRetry = 200ms;

void ReportWatchError(long line, const wchar_t* what, platform::eOsError error)
{
    WQ_ReportErrorNow(SourceNames::kZelProcessorServer, line, L"CZelProcessorServer::Listen()",
                      what + platform::OsErrorText(error));
}

} // namespace

bool CZelProcessorServer::Listen()
{
    if (!m_pProcessor)
        return false;
    std::unique_ptr<platform::IDirectoryWatch> watch;
    const platform::eOsError error = platform::Files().Watch(m_strRequestDir, platform::eWatchFilter_FileName, watch);
    if (!platform::Succeeded(error)) {
        ReportWatchError(kLineWatchFailed, L"FindFirstChangeNotification failed.\n", error);
        AfxThrowNotSupportedException();
    }
    SetWatch(std::move(watch));
    Accept();
    const std::shared_ptr<Brel::Log::Logger> logger = Brel::Log::Get(kLoggerName);
    Brel::Log::Write(*logger, Brel::Log::eLogLevel_Debug, ZEL_SOURCE_LOCATION,
                     L"CZelProcessorServer::Listen() started");
    while (ListenStep()) {
    }
    SetWatch(nullptr);
    {
        const std::lock_guard lock(m_cs);
        m_evQueue->Set();
    }
    Brel::Log::Write(*logger, Brel::Log::eLogLevel_Debug, ZEL_SOURCE_LOCATION,
                     L"CZelProcessorServer::Listen() finished.");
    return true;
}

bool CZelProcessorServer::ListenStep()
{
    if (!m_bRunning)
        return false;
    ++m_nListenerTurns;
    RemoveLeftEventsFiles();
    // Only this thread replaces the watch.
    const platform::eWaitResult result = m_pWatch->Wait(m_bScanPending ? kScanRetry : kListenTimeout);
    if (result == platform::eWaitResult_Woken || (result == platform::eWaitResult_Timeout && !m_bScanPending))
        return true;
    if (result != platform::eWaitResult_Timeout && !RearmWatch())
        return true;
    m_bScanPending = !ScanRequestDir();
    return true;
}

bool CZelProcessorServer::RearmWatch()
{
    const platform::eOsError error = m_pWatch->Rearm();
    if (platform::Succeeded(error))
        return true;
    ReportWatchError(kLineRearmFailed, L"FindNextChangeNotification failed.\n", error);
    // The change stays signalled, so the next wait would not wait: without this pause a lost directory costs a core.
    static_cast<void>(m_evStop->WaitFor(kListenTimeout));
    return false;
}

void CZelProcessorServer::SetWatch(std::unique_ptr<platform::IDirectoryWatch> watch)
{
    const std::lock_guard lock(m_csWatch);
    m_pWatch = std::move(watch);
}

void CZelProcessorServer::Accept()
{
    {
        // A stop that comes meanwhile is either seen here or sees the flag set.
        const std::lock_guard lock(m_csWatch);
        m_bRunning = !m_evStop->IsSet();
    }
    m_evListening->Set();
}

void CZelProcessorServer::EndListener()
{
    const std::lock_guard lock(m_csWatch);
    m_bRunning = false;
    m_evStop->Set();
    if (m_pWatch)
        m_pWatch->Wake();
}

bool CZelProcessorServer::ScanRequestDir()
{
    std::vector<platform::SDirectoryEntry> entries;
    const platform::eOsError error = platform::Files().List(m_strRequestDir, entries);
    if (!platform::Succeeded(error)) {
        if (!m_bScanPending) // once, not with every new try
            ReportWatchError(kLineScanFailed, L"The request directory cannot be read.\n", error);
        return false;
    }
    // Whoever handed the requests over synced them. The moves of one scan share one sync of the queue directory.
    platform::CDeferredDirectorySync deferred;
    for (const platform::SDirectoryEntry& entry : entries) {
        if (!m_bRunning)
            break;
        ++m_nListenerTurns;
        if (entry.isDirectory)
            continue;
        const CString path = platform::JoinPath(m_strRequestDir, entry.name);
        switch (Protocol::GetFileKind(entry.name)) {
        case Protocol::eFileKind_Command: HandleCommandFile(path); break;
        case Protocol::eFileKind_Request: AddRequestToQueue(path); break;
        case Protocol::eFileKind_Other: break;
        }
    }
    // As with a single hand-over: it counts, and who sent again would have it done twice.
    if (const platform::eOsError synced = deferred.Sync(); !platform::Succeeded(synced))
        ReportWatchError(kLineNotSynced,
                         (L"What was handed over may not survive a power cut: " + m_strQueueDir + L"\n").c_str(),
                         synced);
    return true;
}

void CZelProcessorServer::HandleCommandFile(const CString& path)
{
    const MOXCrashRpt::CScopedSubject subject(path);
    CZelProcessorProgressStatusFile statusFile(platform::FromUtf8(kLoggerName),
                                               m_pProcessor->GetOutputStatusFilePath(path), &m_bRunning);
    m_pProcessor->SetStatus(&statusFile, eRequestStatus_ProcessingStarted, TextOf(StringCodes::kProcessingStarted));
    // A server that stops leaves what it could not take for the next one, which is no failure.
    if (!ProcessCommand(path, &statusFile) && m_bRunning)
        WQ_MessageBox(FormatText(L"Processing of command %s failed", {path}), eMessageStyle_Error);
}
