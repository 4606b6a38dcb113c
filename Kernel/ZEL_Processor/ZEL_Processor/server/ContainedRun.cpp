#include "ContainedRun.h"
#include "EndedRequests.h"
#include "RequestQueue.h"
#include "ServerFigures.h"
#include "ServerSettings.h"
#include "ZEL_Processor/ZelProcessor.h"
#include "framework/CrashReport.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/Fault.h"
#include "platform/FaultDeadline.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/PrivateFiles.h"
#include "platform/Seconds.h"
#include "platform/Text.h"
#include "processor/IRequestRunner.h"
#include "protocol/HandOver.h"
#include "protocol/ZelProcessorProgressStatusFile.h"
#include "reports/ReportLines.h"
#include "reports/SourceNames.h"
#include "reports/StringCodes.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <utility>

namespace {

constexpr std::chrono::seconds kLongestPauseBeforeAttempt{60};

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

/// For the sender of the request.
CString FaultText(const platform::SFaultRecord& fault)
{
    return fault.exception[0] != '\0' ? platform::FromUtf8(fault.exception) : platform::FaultKindName(fault.kind);
}

} // namespace

/// Passes the progress of a run on, but keeps a failure back until the request's file is gone: a client that sends the
/// same name again as soon as it reads of the failure must not meet the old file. The run may go on after a failure
/// that was the task's own; then nothing is kept.
class CContainedRun::CHeldFailure final : public CZelProcessorProgress {
public:
    CHeldFailure(CZelProcessorProgressStatusFile& progress, const CServerSettings& settings, std::size_t slot,
                 const CString& path)
        : m_progress(progress), m_settings(settings), m_nSlot(slot), m_path(path)
    {}

    void Tell()
    {
        if (m_eStatus != eRequestStatus_NotIntialized)
            m_progress.SetStatusAndComment(std::exchange(m_eStatus, eRequestStatus_NotIntialized),
                                           m_strComment.c_str());
    }
    /// In place of a failure that is kept back; what it says of itself stands behind.
    void Replace(CString text)
    {
        if (m_eStatus == eRequestStatus_ServerError && m_strComment != TextOf(StringCodes::kCanNotObtainData))
            text += L"\n" + m_strComment;
        m_eStatus = eRequestStatus_ServerError;
        m_strComment = text;
    }
    void Add(const CString& text) { m_strComment += text; }
    /// The reason that is kept back; empty when none is.
    [[nodiscard]] CString Failure() const { return m_eStatus == eRequestStatus_ServerError ? m_strComment : CString(); }
    void SetRange(std::uint64_t low, std::uint64_t high) override
    {
        Tell();
        m_progress.SetRange(low, high);
        Show();
    }
    void SetPos(std::uint64_t position) override
    {
        Tell();
        m_progress.SetPos(position);
        Show();
    }
    void SetStep(std::int32_t step) override { m_progress.SetStep(step); }
    void StepIt() override
    {
        Tell();
        m_progress.StepIt();
        Show();
    }
    void SetComment(const wchar_t* comment) override
    {
        Tell();
        m_progress.SetComment(comment);
        Show();
    }
    void SetStatusAndComment(eZelProcRequestStatus status, const wchar_t* comment) override
    {
        m_eStatus = eRequestStatus_NotIntialized;
        if (status != eRequestStatus_ServerError && status != eRequestStatus_Canceled) {
            if (status == eRequestStatus_Done)
                MeasureResponse(); // while it is there
            m_progress.SetStatusAndComment(status, comment);
            return Show();
        }
        m_eStatus = status;
        m_strComment = comment ? comment : L"";
    }

private:
    void Show() const
    {
        if (m_settings.m_pFigures)
            m_settings.m_pFigures->SetProgress(m_nSlot, m_progress.GetPercentValue(), m_progress.GetCommentValue());
    }
    void MeasureResponse() const
    {
        platform::SFileAttributes response;
        if (m_settings.m_pFigures &&
            platform::Succeeded(platform::Files().GetAttributes(m_settings.m_paths.Output(m_path), response)))
            m_settings.m_pFigures->SetResponse(m_nSlot, response.length);
    }

    CZelProcessorProgressStatusFile& m_progress;
    const CServerSettings& m_settings;
    const std::size_t m_nSlot;
    const CString& m_path;                                          ///< of the request
    eZelProcRequestStatus m_eStatus = eRequestStatus_NotIntialized; ///< what is kept back
    CString m_strComment;
};

namespace {

void ReportFailed(const TSRequestItem& item, const CString& reason)
{
    WQ_ReportErrorNow(SourceNames::kZelProcessorServer, ReportLines::kRequestFailed,
                      L"CZelProcessorServer::ExecuteRequest()", L"Request " + item.m_strFile + L" failed" + reason);
}

} // namespace

bool CContainedRun::Try_ExecuteRequest(TSRequestItem& item, CZelProcessorProgressStatusFile& statusFile, bool bForce,
                                       bool& bException)
{
    platform::SFaultRecord fault;
    platform::CFaultDeadline deadline(m_settings.m_options.crashReportTime);
    m_bRunAgain = false;
    m_strReport.clear();
    m_bInTask = true;
    bException = LeftByException([&] { SEH__ExecuteRequest(item, statusFile, bForce); }, fault);
    m_pRunner->EndRun();
    m_bInTask = false;
    // The crash report is the operator's.
    const platform::CPrivateFiles asUsual({});
    if (bException && !m_pRunner->LostBy().empty()) {
        m_strFault = m_pRunner->LostBy(); // which has been told
        m_strReport = m_pRunner->LostReport();
    } else if (bException) {
        deadline.Start(fault);
        m_strFault = FaultText(fault);
        HandleCatchAll(L"CZelProcessorServer::ExecuteRequest", &fault, SourceNames::kZelProcessorServer,
                       ReportLines::kExceptionFilter, m_strReport);
    }
    return !bException;
}

bool CContainedRun::SEH__ExecuteRequest(TSRequestItem& item, CZelProcessorProgressStatusFile& statusFile, bool bForce)
{
    m_pRunner->GetReady();
    m_requests.BeginRunning(m_nSlot); // not before: what a limit records is in the file of the attempt
    bool bRetry = false;
    CHeldFailure progress(statusFile, m_settings, m_nSlot, item.m_strFile);
    const bool done =
        m_pRunner->ProcessRequest(item.m_strFile, &progress, m_requests.Retries().IsForced(item, bForce), bRetry);
    const eRetry retry = bRetry ? PutBack(item, statusFile) : eRetry_None;
    if (retry == eRetry_TooSoon)
        return true;
    if (retry == eRetry_Canceled)
        CZelProcessor::SetStatus(&progress, eRequestStatus_Canceled, TextOf(StringCodes::kRequestCanceled));
    if (!done && !bRetry) {
        const bool isToldWithReason = m_settings.m_options.tellStory;
        if (!isToldWithReason && (!m_settings.m_pContext || !m_settings.m_pContext->IsCanceled()))
            ReportFailed(item, {});
    }
    const bool hasFailed = retry == eRetry_Canceled || (!done && !bRetry);
    if (hasFailed && !(m_requests.IsEndedByLimit(m_nSlot) && RunAgain(item, statusFile)))
        EndRun(item, progress);
    m_requests.Retries().EndRun();
    return true;
}

void CContainedRun::EndRun(const TSRequestItem& item, CHeldFailure& progress)
{
    const bool isEndedByLimit = m_requests.IsEndedByLimit(m_nSlot);
    if (isEndedByLimit)
        progress.Replace(FormatText(TextOf(StringCodes::kTimeLimit), {SecondsText(item.m_timeLimit)}));
    if (!progress.Failure().empty())
        progress.Add(WhichAttempt(item));
    // Some tasks fail when they are cancelled.
    const bool isCanceled = !isEndedByLimit && m_settings.m_pContext && m_settings.m_pContext->IsCanceled();
    EndFailedRequest(
        item, [&] { progress.Tell(); }, isCanceled ? CString() : progress.Failure());
}

CString CContainedRun::WhichAttempt(const TSRequestItem& item) const
{
    if (!m_settings.m_options.tellReasons || item.m_nMaxRuns <= 1)
        return {};
    return L"\n" + FormatText(TextOf(StringCodes::kAttemptFailed),
                              {std::to_wstring(item.m_nFailedRuns + 1), std::to_wstring(item.m_nMaxRuns)});
}

CContainedRun::eRetry CContainedRun::PutBack(TSRequestItem& item, CZelProcessorProgressStatusFile& statusFile)
{
    const bool counted = m_requests.Retries().Count(item);
    // To a start that takes over what lies there a status that is not final tells of a run.
    const bool isHidden = m_settings.m_options.resume &&
                          platform::Succeeded(Protocol::RemoveWhenFree(m_settings.m_paths.Status(item.m_strFile),
                                                                       m_settings.BriefPatience()));
    if (!m_requests.PutBack(item, m_nSlot)) {
        if (isHidden) // or its name would look unknown when its file goes
            CZelProcessor::SetStatus(&statusFile, eRequestStatus_ProcessingStarted,
                                     TextOf(StringCodes::kProcessingStarted));
        return eRetry_Canceled;
    }
    return counted ? eRetry_Counted : eRetry_TooSoon;
}

bool CContainedRun::RunAgain(TSRequestItem item, CZelProcessorProgressStatusFile& statusFile)
{
    if (item.m_nFailedRuns + 1 >= item.m_nMaxRuns)
        return false;
    const std::chrono::seconds pause =
        std::min(std::chrono::seconds(1 << std::min<int>(item.m_nFailedRuns, 6)), kLongestPauseBeforeAttempt);
    ++item.m_nFailedRuns;
    item.m_bTold = false; // each attempt has its story
    const CString text =
        item.m_strFile + L": attempt " + std::to_wstring(item.m_nFailedRuns) + L" of " +
        std::to_wstring(item.m_nMaxRuns) + L" has failed, " +
        (m_requests.IsEndedByLimit(m_nSlot) ? CString(L"for it ran longer than its limit") : m_strFault) +
        L"; the next one begins in " + SecondsText(pause) + L" s";
    // No client takes a part of a response for a whole one, and to a start that takes over what lies there a status
    // that is not final tells of a run.
    for (const CString& path : {m_settings.m_paths.Output(item.m_strFile), m_settings.m_paths.Status(item.m_strFile)})
        static_cast<void>(Protocol::RemoveWhenFree(path, m_settings.BriefPatience()));
    m_bRunAgain = m_requests.RunAgain(std::move(item), pause, m_nSlot);
    if (m_bRunAgain)
        Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION, text);
    else // or its name would look unknown when its file goes
        CZelProcessor::SetStatus(&statusFile, eRequestStatus_ProcessingStarted,
                                 TextOf(StringCodes::kProcessingStarted));
    return m_bRunAgain;
}

void CContainedRun::RefuseRequest(const TSRequestItem& item, const CString& reason, const std::function<void()>& tell)
{
    m_bRunAgain = false;
    ReportFailed(item, L"\n" + reason);
    EndFailedRequest(item, tell, {});
}

void CContainedRun::EndFailedRequest(const TSRequestItem& item, const std::function<void()>& tell,
                                     const CString& reason)
{
    const bool isKept = !reason.empty() && m_failed.Begin(item, {.when = platform::Clock().UtcSeconds(),
                                                                 .reason = reason,
                                                                 .crashReport = m_strReport,
                                                                 .attempt = item.m_nFailedRuns + 1U,
                                                                 .attempts = item.m_nMaxRuns});
    // A file that stayed in the queue directory would make the request look as if it still waited, once its status has
    // been taken away, and would keep its name from being used again.
    const bool resumes = m_settings.m_options.resume;
    platform::eOsError error = platform::eOsError_None;
    if (resumes)
        error = m_ended.EndWithoutResponse(item.m_strFile, tell,
                                           isKept ? CEndedRequests::eEnd_Failed : CEndedRequests::eEnd_Status);
    else if (!isKept || !KeepFile(item.m_strFile))
        error = Protocol::RemoveWhenFree(item.m_strFile, m_settings.BriefPatience());
    if (!platform::Succeeded(error) && !platform::IsAbsent(error))
        Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                         L"Unable to delete the failed request " + item.m_strFile + L": " +
                             platform::OsErrorText(error));
    if (!resumes)
        tell();
    else if (isKept)
        m_ended.Flush(); // an operator who looks for it finds it
}

bool CContainedRun::KeepFile(const CString& path)
{
    const platform::eOsError error =
        Protocol::RetryWhileShared([&] { return m_failed.Take(path); }, m_settings.BriefPatience());
    if (platform::Succeeded(error) || platform::IsAbsent(error))
        return true;
    m_failed.Forget(platform::FileNameOf(path));
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                     L"The failed request " + path + L" cannot be kept: " + platform::OsErrorText(error));
    return false;
}

int CContainedRun::HandleCatchAll(const wchar_t* context, const platform::SFaultRecord* exceptionPointers,
                                  const wchar_t* file, long line, CString& report)
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
            if (MOXCrashRpt::GenerateErrorReport(record) == 1)
                report = MOXCrashRpt::LastReportPath();
        }
    }
    if (!heapWarning.empty())
        WQ_MessageBox(heapWarning, eMessageStyle_Warning, 0);
    return kExecuteHandler;
}
