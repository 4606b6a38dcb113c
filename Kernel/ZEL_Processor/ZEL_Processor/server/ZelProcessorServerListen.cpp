#include "LeftStatuses.h"
#include "RequestIntake.h"
#include "ServerState.h"
#include "ZEL_Processor/ZelProcessor.h"
#include "framework/CrashReport.h"
#include "framework/Exceptions.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "framework/WorkerThread.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/Thread.h"
#include "protocol/HeldFile.h"
#include "protocol/ProtocolFiles.h"
#include "protocol/ZelProcessorProgressStatusFile.h"
#include "reports/SourceNames.h"
#include "reports/StringCodes.h"

#include <algorithm>
#include <chrono>
#include <utility>

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
/// With turns, files are taken as they are found for this long; most scans are over by then.
constexpr std::chrono::nanoseconds kInOrder = 5ms;

void ReportWatchError(long line, const wchar_t* what, platform::eOsError error)
{
    WQ_ReportErrorNow(SourceNames::kZelProcessorServer, line, L"CZelProcessorServer::Listen()",
                      what + platform::OsErrorText(error));
}

} // namespace

bool CServerState::Listen()
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

bool CServerState::ListenStep()
{
    if (!m_bRunning)
        return false;
    ++m_nListenerTurns;
    RemoveLeftEventsFiles();
    if (m_bNoExecutiveThread)
        m_pLeftStatuses->TryAgain();
    // Only this thread replaces the watch.
    const bool isDue = m_bScanPending || m_bHeld || m_bMoreToTake;
    const platform::eWaitResult result = m_pWatch->Wait(m_bMoreToTake ? 0ms : isDue ? kScanRetry : kListenTimeout);
    if (result == platform::eWaitResult_Woken || (result == platform::eWaitResult_Timeout && !isDue))
        return true;
    if (result != platform::eWaitResult_Timeout && !RearmWatch())
        return true;
    m_bScanPending = !ScanRequestDir();
    return true;
}

bool CServerState::RearmWatch()
{
    const platform::eOsError error = m_pWatch->Rearm();
    if (platform::Succeeded(error))
        return true;
    ReportWatchError(kLineRearmFailed, L"FindNextChangeNotification failed.\n", error);
    // The change stays signalled, so the next wait would not wait: without this pause a lost directory costs a core.
    static_cast<void>(m_evStop->WaitFor(kListenTimeout));
    return false;
}

void CServerState::SetWatch(std::unique_ptr<platform::IDirectoryWatch> watch)
{
    const std::lock_guard lock(m_csWatch);
    m_pWatch = std::move(watch);
}

void CServerState::Accept()
{
    {
        // A stop that comes meanwhile is either seen here or sees the flag set.
        const std::lock_guard lock(m_csWatch);
        m_bRunning = !m_evStop->IsSet();
    }
    m_evListening->Set();
}

void CServerState::EndListener()
{
    const std::lock_guard lock(m_csWatch);
    m_bRunning = false;
    m_evStop->Set();
    if (m_pWatch)
        m_pWatch->Wake();
}

bool CServerState::ScanRequestDir()
{
    m_bHeld = false;
    m_bMoreToTake = false;
    m_refusedNow.clear();
    const std::chrono::nanoseconds start = platform::Clock().Steady();
    m_holdersEnd = start + std::chrono::milliseconds(m_options.patienceMs);
    CRequestIntake putOff;
    // Whoever handed the requests over synced them. The moves of one scan share one sync of the queue directory.
    platform::CDeferredDirectorySync deferred;
    // One entry at a time: others decide how many there are. What is queued runs while the rest is looked at.
    const platform::eOsError error =
        platform::Files().Visit(m_strRequestDir, [&](const platform::SDirectoryEntry& entry) {
            ++m_nListenerTurns;
            if (Protocol::GetFileKind(entry.name) == Protocol::eFileKind_Other)
                return m_bRunning.load();
            const CString path = platform::JoinPath(m_strRequestDir, entry.name);
            if (!RefuseWhatCannotBeServed(path, m_refusedNow) && !entry.isDirectory) {
                if (!m_options.takeTurns || platform::Clock().Steady() - start < kInOrder)
                    TakeFile(entry.name);
                else
                    putOff.Add(OwnerOf(path), entry.name);
            }
            return m_bRunning.load();
        });
    if (!platform::Succeeded(error)) {
        if (!m_bScanPending) // once, not with every new try
            ReportWatchError(kLineScanFailed, L"The request directory cannot be read.\n", error);
        return false;
    }
    TakeInTurns(putOff, start);
    // As with a single hand-over: it counts, and who sent again would have it done twice.
    if (const platform::eOsError synced = deferred.Sync(); !platform::Succeeded(synced))
        ReportWatchError(kLineNotSynced,
                         (L"What was handed over may not survive a power cut: " + m_strQueueDir + L"\n").c_str(),
                         synced);
    m_refused = std::move(m_refusedNow);
    m_pPassedOver->EndLook();
    return true;
}

/// Somebody put in more than could be taken at once. Each owner of files gets his turn, for as long as finding them
/// took or a little longer: then it is time to look who came meanwhile, and looking stays the smaller part of the work.
void CServerState::TakeInTurns(CRequestIntake& putOff, std::chrono::nanoseconds start)
{
    const std::chrono::nanoseconds now = platform::Clock().Steady();
    const std::chrono::nanoseconds end = now + std::max(now - start, kInOrder);
    m_bMoreToTake = putOff.HasLeftOut();
    for (CString name; putOff.TakeNext(name);) {
        if (!m_bRunning || platform::Clock().Steady() >= end) {
            m_bMoreToTake = true;
            return;
        }
        TakeFile(name);
    }
}

void CServerState::TakeFile(const CString& name)
{
    ++m_nListenerTurns;
    const CString path = platform::JoinPath(m_strRequestDir, name);
    if (Protocol::GetFileKind(name) == Protocol::eFileKind_Command)
        HandleCommandFile(path);
    else
        AddRequestToQueue(path);
}

/// For the next try with a file that somebody holds; his costs the others this time, all of his together. A file that
/// is held on is met again by the next scan. Whoever waits gets on: what ends the wait is not the server's.
bool CServerState::MayWaitForHolder()
{
    ++m_nListenerTurns;
    return m_bRunning && (m_options.patienceMs == 0 || platform::Clock().Steady() < m_holdersEnd);
}

void CServerState::HandleCommandFile(const CString& path)
{
    const MOXCrashRpt::CScopedSubject subject(path);
    const platform::CPrivateFiles files(PrivateFor(OwnerOf(path)));
    const CString statusPath = m_pProcessor->GetOutputStatusFilePath(path);
    CZelProcessorProgressStatusFile statusFile(platform::FromUtf8(kLoggerName), statusPath, &m_bRunning);
    statusFile.SetPatience(std::chrono::milliseconds(m_options.patienceMs));
    statusFile.SetTurns(&m_nListenerTurns);
    const auto tellStart = [&] {
        m_pLeftStatuses->Forget(statusPath); // that of an earlier command of this name
        m_pProcessor->SetStatus(&statusFile, eRequestStatus_ProcessingStarted, TextOf(StringCodes::kProcessingStarted));
    };
    // With patience a command that somebody has open is met at one look after the other. That is no start, and who has
    // its status open as well would be waited for, and told of, at each of them.
    const bool isStartToldFirst = m_options.patienceMs == 0;
    if (isStartToldFirst)
        tellStart();
    const eTaken taken = TakeIntoQueue(path, GetFileInQueueFullPath(path));
    // A server that stops leaves what it could not take for the next one, which is no failure; nor is what somebody
    // still has open.
    if (taken == eTaken_Held || (taken == eTaken_No && !m_bRunning))
        return;
    if (!isStartToldFirst && taken != eTaken_Refused)
        tellStart();
    const bool isDone = ProcessCommand(path, taken, &statusFile);
    if (taken != eTaken_Refused) // told by a status of its own
        KeepUnwritten(statusFile, statusPath);
    if (!isDone && m_bRunning)
        WQ_MessageBox(FormatText(L"Processing of command %s failed", {path}), eMessageStyle_Error);
}
