#include "LeftStatuses.h"
#include "ServerState.h"
#include "ZEL_Processor/ZelProcessor.h"
#include "framework/CrashReport.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/Fault.h"
#include "platform/FaultDeadline.h"
#include "platform/Os.h"
#include "platform/Text.h"
#include "platform/Thread.h"
#include "protocol/ProtocolFiles.h"
#include "protocol/ZelProcessorProgressStatusFile.h"
#include "reports/SourceNames.h"
#include "reports/StringCodes.h"

#include <chrono>
#include <functional>
#include <utility>

using namespace std::chrono_literals;

namespace {

constexpr long kLineRequestFailed = 312;
constexpr const wchar_t* kExecuteFunction = L"CZelProcessorServer::ExecuteRequest()";
constexpr long kLineExceptionFilter = 329;
constexpr std::uint32_t kIdleBeforeForceMs = 5000;
constexpr std::uint32_t kCountedRetryMs = 1001;
constexpr std::int32_t kRetriesBeforeForce = 2;
constexpr auto kManualPoll = 200ms;
/// How soon a status that had to wait is written when its file is let go and nothing else is done.
constexpr auto kLeftPoll = 500ms;

/// What left the run: nothing, a C++ exception, or a fault with its record.
bool LeftByException(const std::function<void()>& body, platform::SFaultRecord& fault)
{
    const bool returned = platform::RunContained(
        [&] {
            try {
                body();
            } catch (...) {
                platform::RecordCurrentException(fault);
            }
        },
        fault);
    return !returned || fault.kind == platform::eFaultKind_Exception;
}

/// Passes the progress of a run on, but keeps a failure back until the request's file is gone: a client that sends the
/// same name again as soon as it reads of the failure must not meet the old file. The run may go on after a failure
/// that was the task's own; then nothing is kept.
class CHeldFailure final : public CZelProcessorProgress {
public:
    explicit CHeldFailure(CZelProcessorProgress& progress) : m_progress(progress) {}

    void Tell()
    {
        if (m_eStatus != eRequestStatus_NotIntialized)
            m_progress.SetStatusAndComment(std::exchange(m_eStatus, eRequestStatus_NotIntialized),
                                           m_strComment.c_str());
    }
    void SetRange(std::uint64_t low, std::uint64_t high) override
    {
        Tell();
        m_progress.SetRange(low, high);
    }
    void SetPos(std::uint64_t position) override
    {
        Tell();
        m_progress.SetPos(position);
    }
    void SetStep(std::int32_t step) override { m_progress.SetStep(step); }
    void StepIt() override
    {
        Tell();
        m_progress.StepIt();
    }
    void SetComment(const wchar_t* comment) override
    {
        Tell();
        m_progress.SetComment(comment);
    }
    void SetStatusAndComment(eZelProcRequestStatus status, const wchar_t* comment) override
    {
        m_eStatus = eRequestStatus_NotIntialized;
        if (status != eRequestStatus_ServerError && status != eRequestStatus_Canceled)
            return m_progress.SetStatusAndComment(status, comment);
        m_eStatus = status;
        m_strComment = comment ? comment : L"";
    }

private:
    CZelProcessorProgress& m_progress;
    eZelProcRequestStatus m_eStatus = eRequestStatus_NotIntialized; ///< what is kept back
    CString m_strComment;
};

} // namespace

bool CServerState::ProcessQueue()
{
    MOXCrashRpt::PrepareLastWords();
    while (ProcessQueueStep()) {
    }
    return true;
}

bool CServerState::ProcessQueueStep()
{
    if (!m_bRunning)
        return false;
    ++m_nExecutiveTurns;
    m_pLeftStatuses->TryAgain();
    if (!m_pProcessor->CanProceedQueue()) {
        platform::Clock().SleepFor(kManualPoll);
    } else if (!ExecuteRequest()) {
        m_bExecutiveMayTakeLong = true;
        WaitForWork();
        m_bExecutiveMayTakeLong = false;
    }
    return true;
}

void CServerState::WaitForWork()
{
    if (m_pLeftStatuses->IsEmpty())
        m_evQueue->Wait();
    else
        static_cast<void>(m_evQueue->WaitFor(kLeftPoll));
}

bool CServerState::ExecuteRequest()
{
    // Here, so that it ends here too: a contained fault jumps over the end of what the request itself put in place.
    const CWQ_SetResource resource(kResourceModule);
    TSRequestItem item;
    bool bLast = false;
    if (!TakeRequest(item, bLast))
        return false;
    const MOXCrashRpt::CScopedSubject subject(item.m_strFile);
    const platform::CPrivateFiles files(PrivateFor(item.m_strOwner));
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Info, ZEL_SOURCE_LOCATION, item.m_strFile);

    const CString statusPath = m_pProcessor->GetOutputStatusFilePath(item.m_strFile);
    m_pLeftStatuses->Forget(statusPath);
    CZelProcessorProgressStatusFile statusFile(platform::FromUtf8(kLoggerName), statusPath, &m_bRunning);
    statusFile.SetPatience(std::chrono::milliseconds(m_options.patienceMs));
    statusFile.SetTurns(&m_nExecutiveTurns);
    statusFile.SetStatusAndComment(eRequestStatus_ProcessingStarted, TextOf(StringCodes::kProcessingStarted).c_str());
    if (statusFile.LastWriteError() == platform::eOsError_LinkInTheWay) {
        // Somebody wants this server to write elsewhere. The request has no place for an answer, so it is not run.
        WQ_ReportErrorNow(SourceNames::kZelProcessorServer, kLineRequestFailed, kExecuteFunction,
                          L"Request " + item.m_strFile + L" failed\n" +
                              platform::OsErrorText(statusFile.LastWriteError()) + L": " + statusPath);
        RemoveFailedRequest(item);
        EndRunning();
        return true;
    }
    bool bException = false;
    Try_ExecuteRequest(item, statusFile, bLast, bException);
    if (bException && !m_pProcessor->HasToldDone()) {
        const platform::CPrivateFiles again(PrivateFor(item.m_strOwner)); // whatever the fault jumped over
        RemoveFailedRequest(item);
        statusFile.SetStatusAndComment(eRequestStatus_ServerError,
                                       TextOf(StringCodes::kExceptionDuringRequest).c_str());
    }
    KeepUnwritten(statusFile, statusPath);
    EndRunning();
    return true;
}

void CServerState::EndRunning()
{
    const std::lock_guard lock(m_cs);
    m_strRunning.clear();
}

bool CServerState::TakeRequest(TSRequestItem& item, bool& bLast)
{
    const std::lock_guard lock(m_cs);
    if (!m_queue->TakeNext(item)) {
        m_pProcessor->ProceedQueue(false); // a granted manual step ends when the queue runs dry
        // A stop set the event for good; taking that back would leave this thread waiting for ever.
        if (m_bRunning)
            m_evQueue->Reset();
        return false;
    }
    bLast = m_queue->IsEmpty();
    // Under the lock: a cancel finds the request either in the queue or ready to be flagged, and never in between.
    m_strRunning = item.m_strFile;
    m_bCanceled = false;
    if (m_pContext)
        m_pContext->SetCanceled(false);
    return true;
}

bool CServerState::Try_ExecuteRequest(TSRequestItem& item, CZelProcessorProgressStatusFile& statusFile, bool bForce,
                                      bool& bException)
{
    platform::SFaultRecord fault;
    platform::CFaultDeadline deadline(m_options.crashReportTime);
    m_bExecutiveMayTakeLong = true;
    bException = LeftByException([&] { SEH__ExecuteRequest(item, statusFile, bForce); }, fault);
    m_bExecutiveMayTakeLong = false;
    // The crash report is the operator's.
    const platform::CPrivateFiles asUsual({});
    if (bException) {
        deadline.Start(fault);
        HandleCatchAll(L"CZelProcessorServer::ExecuteRequest", &fault, SourceNames::kZelProcessorServer,
                       kLineExceptionFilter);
    }
    return !bException;
}

bool CServerState::SEH__ExecuteRequest(TSRequestItem& item, CZelProcessorProgressStatusFile& statusFile, bool bForce)
{
    if (bForce && platform::Clock().TickCount() - m_dwLastRequestTick < kIdleBeforeForceMs)
        bForce = false;
    if (!bForce && item.m_nRetries > kRetriesBeforeForce)
        bForce = true;

    bool bRetry = false;
    CHeldFailure progress(statusFile);
    const bool done = m_pProcessor->ProcessRequest(item.m_strFile, &progress, bForce, bRetry);
    const eRetry retry = bRetry ? PutBack(item) : eRetry_None;
    if (retry == eRetry_TooSoon)
        return true;
    if (retry == eRetry_Canceled) {
        RemoveFailedRequest(item);
        m_pProcessor->SetStatus(&statusFile, eRequestStatus_Canceled, TextOf(StringCodes::kRequestCanceled));
    }
    if (!done && !bRetry) {
        if (!m_pContext || !m_pContext->IsCanceled())
            WQ_ReportErrorNow(SourceNames::kZelProcessorServer, kLineRequestFailed, kExecuteFunction,
                              L"Request " + item.m_strFile + L" failed");
        RemoveFailedRequest(item);
        progress.Tell();
    }
    m_dwLastRequestTick = platform::Clock().TickCount();
    return true;
}

CServerState::eRetry CServerState::PutBack(TSRequestItem& item)
{
    const bool counted = platform::Clock().TickCount() - m_dwLastRequestTick >= kCountedRetryMs;
    if (counted)
        ++item.m_nRetries;
    const std::lock_guard lock(m_cs);
    // The host's own flag is not asked here: a fault in it would leave the lock taken.
    if (m_bCanceled)
        return eRetry_Canceled;
    m_queue->Append(item);
    m_evQueue->Set();
    return counted ? eRetry_Counted : eRetry_TooSoon;
}

void CServerState::RemoveFailedRequest(const TSRequestItem& item)
{
    // A file that stayed in the queue directory would make the request look as if it still waited, once its status has
    // been taken away, and would keep its name from being used again.
    const platform::eOsError error =
        Protocol::RetryWhileShared([&] { return platform::Files().Remove(item.m_strFile); }, BriefPatience());
    if (!platform::Succeeded(error) && !platform::IsAbsent(error))
        Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                         L"Unable to delete the failed request " + item.m_strFile + L": " +
                             platform::OsErrorText(error));
}

int CServerState::HandleCatchAll(const wchar_t* context, const platform::SFaultRecord* exceptionPointers,
                                 const wchar_t* file, long line)
{
    constexpr int kExecuteHandler = 1;
    const CWQ_SetResource resource(kResourceModule);
    CString heapWarning;
    if (platform::CheckHeap() == platform::eHeapState_Corrupt)
        heapWarning = FormatText(L"Corrupt heap warning!\nException raised and caught - as a result, the heap is "
                                 L"corrupt.\nThe error is severe - the application becomes unstable.\n\n"
                                 L"File: %s\nLine: %li",
                                 {file, std::to_wstring(line)});
    if (exceptionPointers) {
        const CString question = FormatText(WQ_LoadString(StringCodes::kCrashReportQuestion), {context});
        if (WQ_MessageBoxAuto(question, eMessageStyle_YesNo | eMessageStyle_Warning, eMessageAnswer_Yes, 0) ==
            eMessageAnswer_Yes) {
            SMOXCrashRecord record;
            record.size = sizeof(record);
            record.exceptionPointers = exceptionPointers;
            // Whether a report could be written changes nothing for the server.
            static_cast<void>(MOXCrashRpt::GenerateErrorReport(record));
        }
    }
    if (!heapWarning.empty())
        WQ_MessageBox(heapWarning, eMessageStyle_Warning, 0);
    return kExecuteHandler;
}

void CServerState::CancelRunningRequest()
{
    m_bCanceled = true;
    if (m_pContext)
        m_pContext->SetCanceled(true);
}
