#include "RequestListener.h"
#include "ClientMail.h"
#include "ClientRegistry.h"
#include "RequestIntake.h"
#include "RequestQueue.h"
#include "RequestStatuses.h"
#include "ServerFigures.h"
#include "ServerSettings.h"
#include "exchange/DsEventsFile.h"
#include "framework/Exceptions.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/DeferredSync.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/ReliableWatch.h"
#include "protocol/HandOver.h"
#include "protocol/ProtocolPaths.h"
#include "protocol/WatchDirectory.h"
#include "reports/ReportLines.h"
#include "reports/SourceNames.h"

#include <algorithm>
#include <chrono>
#include <utility>

using namespace std::chrono_literals;

namespace {

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

CRequestListener::CRequestListener(const CServerSettings& settings, CRequestQueue& requests, CRequestStatuses& statuses,
                                   CClientRegistry& registry, CClientMail& mail, std::atomic<bool>& isRunning,
                                   CKeptNames* keptNames)
    : m_settings(settings),
      m_requests(requests),
      m_statuses(statuses),
      m_registry(registry),
      m_mail(mail),
      m_bRunning(isRunning),
      m_refusals(settings, requests, statuses),
      m_taker(settings, requests, statuses, m_refusals, isRunning, m_nTurns),
      m_commands(settings, requests, statuses, m_refusals, m_taker, registry, isRunning, m_nTurns, keptNames),
      m_housekeeping(settings, requests, isRunning),
      m_limits(settings, requests)
{}

CRequestListener::~CRequestListener() = default;

void CRequestListener::Prepare()
{
    m_evStop.Reset();
    m_evListening.Reset();
}

bool CRequestListener::Listen()
{
    Start();
    const std::shared_ptr<Brel::Log::Logger> logger = Brel::Log::Get(kLoggerName);
    Brel::Log::Write(*logger, Brel::Log::eLogLevel_Debug, ZEL_SOURCE_LOCATION,
                     L"CZelProcessorServer::Listen() started");
    m_housekeeping.Start();
    TellResumed();
    while (ListenStep()) {
    }
    m_housekeeping.Stop();
    SetWatch(nullptr);
    m_requests.Wake();
    Brel::Log::Write(*logger, Brel::Log::eLogLevel_Debug, ZEL_SOURCE_LOCATION,
                     L"CZelProcessorServer::Listen() finished.");
    return true;
}

void CRequestListener::Start()
{
    std::unique_ptr<platform::IDirectoryWatch> watch;
    const platform::SWatchOptions options = {m_settings.m_options.checkedWatch, m_settings.m_options.poll};
    m_taker.PassedOver().Clear();
    // Who waits for holders anyhow needs no news of them.
    const platform::eWatchFilter filter =
        m_settings.m_options.patience ? platform::eWatchFilter_FileNameAndClosed : platform::eWatchFilter_FileName;
    const platform::eOsError error =
        Protocol::WatchDirectory(m_settings.m_paths.m_strRequestDir, filter, options, watch);
    if (!platform::Succeeded(error)) {
        ReportWatchError(ReportLines::kRequestDirNotWatched, L"FindFirstChangeNotification failed.\n", error);
        AfxThrowNotSupportedException();
    }
    SetWatch(std::move(watch));
    // Where another machine's locks are not seen, every living client would look dead.
    m_bBuriesDead = m_settings.m_options.presence && !platform::IsChangedFromOutside(m_settings.m_paths.m_strOutputDir);
    m_bMoreToTake = m_settings.m_options.resume; // what came while nobody looked
    Accept();
}

/// What an earlier server had to tell and could not went with it.
void CRequestListener::TellResumed()
{
    if (const std::vector<GUID> clients = m_registry.All(); m_settings.m_options.resume && !clients.empty())
        m_mail.Send(clients, {.events = DsEventsFile::Reload()});
}

bool CRequestListener::ListenStep()
{
    if (!m_bRunning)
        return false;
    ++m_nTurns;
    if (m_settings.m_bNoExecutiveThread && m_requests.TakeDrained()) // nobody else looks
        m_settings.m_options.drained(m_settings.m_options.drainedContext);
    m_registry.RemoveLeftFiles();
    if (m_bBuriesDead)
        m_registry.UnregisterDead();
    const bool isMailWaiting = m_mail.TryAgain();
    m_housekeeping.RemoveSome();
    m_commands.TryAgain();
    m_statuses.Left().TryAgain();
    m_limits.Check();
    const std::chrono::milliseconds due = UntilLook();
    std::chrono::milliseconds pause = isMailWaiting ? kScanRetry : kListenTimeout;
    if (!m_statuses.Left().IsEmpty())
        pause = std::min(pause, m_statuses.Left().UntilNextTry());
    pause = std::min(pause, m_limits.UntilCheck());
    const platform::eWaitResult result = Watch().Wait(std::min(due, pause));
    if (result == platform::eWaitResult_Woken || (result == platform::eWaitResult_Timeout && due > pause))
        return true;
    if (result != platform::eWaitResult_Timeout && !RearmWatch())
        return true;
    m_bScanPending = !ScanRequestDir();
    return true;
}

/// How long until a look that no change asks for.
std::chrono::milliseconds CRequestListener::UntilLook()
{
    const CPassedOver& held = m_taker.PassedOver();
    if (m_bMoreToTake && !held.IsFull())
        return 0ms;
    std::chrono::nanoseconds due = m_bScanPending ? kScanRetry : held.UntilNextLook();
    if (m_taker.HasFailed())
        due = std::min(due, std::max(m_lastScan + kListenTimeout - platform::Clock().Steady(), 0ns));
    return std::chrono::ceil<std::chrono::milliseconds>(due);
}

bool CRequestListener::RearmWatch()
{
    std::vector<CString> closed;
    const platform::eOsError error = m_taker.PassedOver().IsEmpty() ? Watch().Rearm() : Watch().RearmNaming(closed);
    m_taker.PassedOver().AddClosed(closed);
    if (platform::Succeeded(error)) {
        if (std::exchange(m_bRearmFailed, false) && m_settings.m_options.tellStory)
            Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Info, ZEL_SOURCE_LOCATION,
                             L"The request directory can be watched again: " + m_settings.m_paths.m_strRequestDir);
        return true;
    }
    const bool isTold = std::exchange(m_bRearmFailed, true);
    if (!isTold || !m_settings.m_options.tellStory) // for an operator once, not with every new try
        ReportWatchError(ReportLines::kRequestDirNotRearmed, L"FindNextChangeNotification failed.\n", error);
    // The change stays signalled, so the next wait would not wait: without this pause a lost directory costs a core.
    static_cast<void>(m_evStop.WaitFor(kListenTimeout));
    return false;
}

/// Only the listening thread replaces it, and this is for that one.
platform::IDirectoryWatch& CRequestListener::Watch()
{
    const platform::CMutexLock lock(m_csWatch);
    return *m_pWatch;
}

void CRequestListener::SetWatch(std::unique_ptr<platform::IDirectoryWatch> watch)
{
    const platform::CMutexLock lock(m_csWatch);
    m_pWatch = std::move(watch);
}

void CRequestListener::Accept()
{
    {
        // A stop that comes meanwhile is either seen here or sees the flag set.
        const platform::CMutexLock lock(m_csWatch);
        m_bRunning = !m_evStop.IsSet();
    }
    m_evListening.Set();
}

void CRequestListener::EndListener()
{
    const platform::CMutexLock lock(m_csWatch);
    m_bRunning = false;
    m_evStop.Set();
    if (m_pWatch)
        m_pWatch->Wake();
}

bool CRequestListener::ScanRequestDir()
{
    if (m_settings.m_pFigures)
        m_settings.m_pFigures->CountScan();
    m_bMoreToTake = false;
    m_refusals.StartLook();
    m_taker.StartLook();
    const std::chrono::nanoseconds start = platform::Clock().Steady();
    m_lastScan = start;
    CRequestIntake putOff;
    // Whoever handed the requests over synced them. The moves of one scan share one sync of the queue directory.
    platform::CDeferredDirectorySync deferred;
    // One entry at a time: others decide how many there are. What is queued runs while the rest is looked at.
    const platform::eOsError error =
        platform::Files().Visit(m_settings.m_paths.m_strRequestDir, [&](const platform::SDirectoryEntry& entry) {
            ++m_nTurns;
            if (m_taker.PassedOver().IsToBeLeft(entry.name) || !IsToBeTaken(entry.name))
                return m_bRunning.load();
            const CString path = platform::JoinPath(m_settings.m_paths.m_strRequestDir, entry.name);
            if (!m_refusals.RefuseWhatCannotBeServed(path, entry.kind) && !entry.isDirectory) {
                if (!m_settings.m_options.takeTurns || platform::Clock().Steady() - start < kInOrder)
                    TakeFile(entry.name);
                else
                    putOff.Add(m_settings.OwnerOf(path), entry.name);
            }
            return m_bRunning.load();
        });
    if (!platform::Succeeded(error)) {
        if (!m_bScanPending) // once, not with every new try
            ReportWatchError(ReportLines::kScanFailed, L"The request directory cannot be read.\n", error);
        return false;
    }
    TakeInTurns(putOff, start);
    // As with a single hand-over: it counts, and who sent again would have it done twice.
    if (const platform::eOsError synced = deferred.Sync(); !platform::Succeeded(synced))
        ReportWatchError(
            ReportLines::kQueueNotSynced,
            (L"What was handed over may not survive a power cut: " + m_settings.m_paths.m_strQueueDir + L"\n").c_str(),
            synced);
    m_refusals.EndLook();
    m_taker.PassedOver().EndLook();
    return true;
}

/// A server that drains leaves requests for the next one.
bool CRequestListener::IsToBeTaken(const CString& name) const
{
    const Protocol::eFileKind kind = Protocol::GetFileKind(name);
    return kind == Protocol::eFileKind_Command || (kind == Protocol::eFileKind_Request && !m_requests.IsDraining());
}

/// Somebody put in more than could be taken at once. Each owner of files gets his turn, for as long as finding them
/// took or a little longer: then it is time to look who came meanwhile, and looking stays the smaller part of the work.
void CRequestListener::TakeInTurns(CRequestIntake& putOff, std::chrono::nanoseconds start)
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

void CRequestListener::TakeFile(const CString& name)
{
    ++m_nTurns;
    const CString path = platform::JoinPath(m_settings.m_paths.m_strRequestDir, name);
    if (Protocol::GetFileKind(name) == Protocol::eFileKind_Command)
        m_commands.HandleCommandFile(path);
    else
        m_taker.AddRequestToQueue(path);
}
