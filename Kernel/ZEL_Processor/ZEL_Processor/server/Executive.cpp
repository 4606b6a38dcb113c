#include "Executive.h"
#include "RequestQueue.h"
#include "RequestStatuses.h"
#include "ServerFigures.h"
#include "ServerSettings.h"
#include "Story.h"
#include "ZEL_Processor/ZelProcessor.h"
#include "framework/CrashReport.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/PrivateFiles.h"
#include "platform/Text.h"
#include "processor/IRequestRunner.h"
#include "protocol/ZelProcessorProgressStatusFile.h"
#include "reports/SourceNames.h"
#include "reports/StringCodes.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <utility>

using namespace std::chrono_literals;

namespace {

constexpr auto kManualPoll = 200ms;
constexpr auto kWhileLimitIsTold = 1ms;

} // namespace

CExecutive::CExecutive(const CServerSettings& settings, CRequestQueue& requests, CRequestStatuses& statuses,
                       const std::atomic<bool>& isRunning, std::size_t slot, CKeptNames* keptNames)
    : m_settings(settings),
      m_requests(requests),
      m_statuses(statuses),
      m_bRunning(isRunning),
      m_attempts(settings),
      m_slots(settings),
      m_ended(settings, keptNames),
      m_nSlot(slot),
      m_run(settings, requests, m_ended, m_bMayTakeLong, slot)
{}

void CExecutive::SetRunner(IRequestRunner* runner, IRequestRunner* stepping)
{
    m_pRunner = runner;
    m_pStepping = stepping ? stepping : runner;
    m_run.SetRunner(runner);
    runner->SetOnTask([this](const CString& type) {
        if (m_settings.m_pFigures)
            m_settings.m_pFigures->SetType(m_nSlot, type);
        if (std::exchange(m_bTellsStart, false))
            Story::TellStarted(type);
    });
}

bool CExecutive::ProcessQueue()
{
    MOXCrashRpt::PrepareLastWords();
    m_pRunner->Prepare();
    while (ProcessQueueStep()) {
    }
    m_ended.Flush();
    m_pRunner->Finish();
    return true;
}

bool CExecutive::ProcessQueueStep()
{
    if (!m_bRunning)
        return false;
    ++m_nTurns;
    if (m_requests.TakeDrained())
        m_settings.m_options.drained(m_settings.m_options.drainedContext);
    m_statuses.Left().TryAgain();
    if (m_ended.IsFull())
        m_ended.Flush();
    if (!m_pStepping->CanProceedQueue()) {
        platform::Clock().SleepFor(kManualPoll);
    } else if (!ExecuteRequest()) {
        m_bMayTakeLong = true;
        WaitForWork();
        m_bMayTakeLong = false;
    }
    return true;
}

std::function<platform::eOsError(const CString&)> CExecutive::Remover()
{
    if (!m_settings.m_options.resume)
        return {};
    return [this](const CString& path) { return m_ended.Keep(path); };
}

void CExecutive::WaitForWork()
{
    const bool isAnyLeft = !m_statuses.Left().IsEmpty();
    if (m_ended.IsEmpty() && !isAnyLeft)
        return m_requests.Wait();
    std::chrono::milliseconds pause = isAnyLeft ? m_statuses.Left().UntilNextTry() : std::chrono::milliseconds::max();
    if (!m_ended.IsEmpty())
        pause = std::min(pause, m_ended.UntilFlush());
    const std::chrono::milliseconds due = m_requests.UntilDue();
    if (!m_requests.WaitFor(std::min(pause, due)) && pause <= due && !m_ended.IsEmpty())
        m_ended.Flush();
}

bool CExecutive::ExecuteRequest()
{
    // Here, so that it ends here too: a contained fault jumps over the end of what the request itself put in place.
    const CWQ_SetResource resource(kResourceModule);
    TSRequestItem item;
    bool bLast = false;
    // A granted manual step ends when the queue runs dry.
    if (!m_requests.TakeRequest(
            item, bLast, [this] { m_pStepping->ProceedQueue(false); }, m_nSlot))
        return false;
    const MOXCrashRpt::CScopedSubject subject(item.m_strFile);
    m_slots.Tell(m_nSlot, item.m_strFile); // before the status that has somebody ask
    const platform::CPrivateFiles files(m_settings.PrivateFor(item.m_strOwner));
    const bool isNews = !std::exchange(item.m_bTold, true);
    if (!m_settings.m_options.tellStory)
        Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Info, ZEL_SOURCE_LOCATION, item.m_strFile);
    m_bTellsStart = m_settings.m_options.tellStory && isNews;
    RunRequest(item, bLast, isNews);
    m_attempts.End(item);
    // Lost, it costs one attempt more after a restart.
    if (m_run.IsRunAgain())
        static_cast<void>(m_attempts.Fail(item));
    if (HasReachedLimit() && !m_run.IsRunAgain())
        m_attempts.Forget(platform::FileNameOf(item.m_strFile));
    // Not before: another slot may run the next attempt, or what is sent under its name, and write a record of that.
    m_requests.EndRunning(m_nSlot);
    return true;
}

/// For good. Who tells of that may just write the record, which takes him one file.
bool CExecutive::HasReachedLimit()
{
    std::optional<bool> hasReached = m_requests.CloseLimit(m_nSlot);
    for (; !hasReached; hasReached = m_requests.CloseLimit(m_nSlot))
        platform::Clock().SleepFor(kWhileLimitIsTold);
    return *hasReached;
}

void CExecutive::RunRequest(TSRequestItem& item, bool bLast, bool isNews)
{
    const std::chrono::nanoseconds start = platform::Clock().Steady();
    const CString statusPath = m_settings.m_paths.Status(item.m_strFile);
    m_statuses.Left().Forget(statusPath);
    CZelProcessorProgressStatusFile statusFile(platform::FromUtf8(kLoggerName), statusPath, &m_bRunning);
    statusFile.SetPatience(m_settings.PatienceWithReaders());
    statusFile.SetToldOnce(m_settings.m_options.tellStory);
    statusFile.SetTurns(&m_nTurns);
    CountBegin(item);
    if (!BeginRun(item, statusFile, isNews))
        return CountEnd(eRequestStatus_ServerError, statusFile.GetCommentValue());
    bool bException = false;
    m_run.Try_ExecuteRequest(item, statusFile, bLast, bException);
    if (bException && !m_pRunner->HasToldDone() && !m_run.RunAgain(item, statusFile)) {
        const platform::CPrivateFiles again(m_settings.PrivateFor(item.m_strOwner)); // whatever the fault jumped over
        CString comment = TextOf(StringCodes::kExceptionDuringRequest);
        if (m_settings.m_options.tellReasons)
            comment = (m_pRunner->LostBy().empty() ? comment + L"\n" + m_run.LastFault() : m_pRunner->LostBy()) +
                      m_run.WhichAttempt(item);
        m_run.EndFailedRequest(
            item, [&] { statusFile.SetStatusAndComment(eRequestStatus_ServerError, comment.c_str()); }, comment);
    }
    if (m_run.IsRunAgain())
        return CountEnd(eRequestStatus_Waiting, {});
    CountEnd(statusFile.GetStatusValue(), statusFile.GetCommentValue());
    m_statuses.KeepUnwritten(statusFile, statusPath);
    if (m_settings.m_options.tellStory)
        TellRun(item, statusFile, platform::Clock().Steady() - start, isNews);
}

void CExecutive::CountBegin(const TSRequestItem& item) const
{
    if (!m_settings.m_pFigures)
        return;
    platform::SFileAttributes request;
    static_cast<void>(platform::Files().GetAttributes(item.m_strFile, request));
    m_settings.m_pFigures->Begin(m_nSlot, item, request.length);
}

void CExecutive::CountEnd(eZelProcRequestStatus status, const CString& reason) const
{
    if (m_settings.m_pFigures)
        m_settings.m_pFigures->End(m_nSlot, status, reason);
}

/// isNews: the request is run for the first time.
void CExecutive::TellRun(const TSRequestItem& item, const CZelProcessorProgressStatusFile& statusFile,
                         std::chrono::nanoseconds duration, bool isNews) const
{
    switch (statusFile.GetStatusValue()) {
    case eRequestStatus_Done:
    case eRequestStatus_Canceled:
    case eRequestStatus_ServerError:
        Story::TellEnded(statusFile, m_pRunner->TaskType(), duration, m_settings.m_paths.Output(item.m_strFile));
        break;
    default:
        if (isNews && m_bRunning) // it may have waited for a plug-in
            Story::TellDeclined();
    }
}

/// Where it may have run before, or may be run again, that is said.
CString CExecutive::StartText(const TSRequestItem& item)
{
    if (item.m_bTakenBack && item.m_nFailedRuns == 0)
        return TextOf(StringCodes::kEndedAgain);
    if (item.m_nAttempts != 0 && item.m_nFailedRuns == 0)
        return FormatText(TextOf(StringCodes::kProcessingAgain), {std::to_wstring(item.m_nAttempts)});
    return item.m_nMaxRuns <= 1
               ? TextOf(StringCodes::kProcessingStarted)
               : FormatText(TextOf(StringCodes::kProcessingAttempt),
                            {std::to_wstring(item.m_nFailedRuns + 1), std::to_wstring(item.m_nMaxRuns)});
}

/// The first status. False, with the request refused, when it must not be run.
bool CExecutive::BeginRun(const TSRequestItem& item, CZelProcessorProgressStatusFile& statusFile, bool isNews)
{
    const CString started = StartText(item);
    statusFile.SetStatusAndComment(eRequestStatus_ProcessingStarted, started.c_str());
    if (statusFile.LastWriteError() == platform::eOsError_LinkInTheWay) {
        // Somebody wants this server to write elsewhere. The request has no place for an answer, so it is not run.
        m_run.RefuseRequest(item,
                            platform::OsErrorText(statusFile.LastWriteError()) + L": " +
                                m_settings.m_paths.Status(item.m_strFile),
                            [] {});
        return false;
    }
    const platform::eOsError begun = m_attempts.Begin(item);
    if (platform::Succeeded(begun)) {
        if (isNews && (item.m_nAttempts != 0 || item.m_bTakenBack)) // the status is soon another one
            Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                             item.m_strFile + L": " + started);
        return true;
    }
    // Without the record it could end one server after the other.
    const CString reason = platform::OsErrorText(begun) + L".";
    m_run.RefuseRequest(item, reason, [&] {
        CZelProcessor::SetStatus(&statusFile, eRequestStatus_ServerError, TextOf(StringCodes::kServerError) + reason);
    });
    m_statuses.KeepUnwritten(statusFile, m_settings.m_paths.Status(item.m_strFile));
    return false;
}
