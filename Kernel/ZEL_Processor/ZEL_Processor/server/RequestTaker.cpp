#include "RequestTaker.h"
#include "RequestQueue.h"
#include "RequestRefusals.h"
#include "RequestStatuses.h"
#include "ServerFigures.h"
#include "ServerSettings.h"
#include "Story.h"
#include "framework/CrashReport.h"
#include "framework/Services.h"
#include "platform/NameKind.h"
#include "platform/Os.h"
#include "protocol/HandOver.h"
#include "protocol/HeldFile.h"
#include "reports/SourceNames.h"
#include "reports/StringCodes.h"

#include <algorithm>
#include <utility>

namespace {

/// Who hands a file over has it open still for an instant after it is there, and the system tells of a close an instant
/// before it is done: microseconds, unless the machine is busy.
constexpr std::chrono::milliseconds kWhileItIsClosed{1};

} // namespace

CRequestTaker::CRequestTaker(const CServerSettings& settings, CRequestQueue& requests, CRequestStatuses& statuses,
                             CRequestRefusals& refusals, const std::atomic<bool>& isRunning,
                             std::atomic<std::uint32_t>& turns)
    : m_settings(settings),
      m_requests(requests),
      m_statuses(statuses),
      m_refusals(refusals),
      m_bRunning(isRunning),
      m_nTurns(turns),
      m_passedOver(settings.m_options.busyWarning)
{}

void CRequestTaker::StartLook()
{
    m_bFailed = false;
    m_holdersEnd = platform::Clock().Steady() +
                   std::max(m_settings.m_options.patience.value_or(kWhileItIsClosed), kWhileItIsClosed);
}

bool CRequestTaker::AddRequestToQueue(const CString& path)
{
    const MOXCrashRpt::CScopedSubject subject(path);
    TSRequestItem item{m_settings.m_paths.InQueue(path), 0, m_settings.OwnerOf(path)};
    if (IsFull(item.m_strOwner)) {
        RefuseRequest(path, item.m_strOwner);
        return false;
    }
    const eTaken taken = TakeIntoQueue(path, item.m_strFile);
    if (taken == eTaken_Yes) {
        m_told.erase(path);
        m_statuses.Left().Forget(
            m_settings.m_paths.Status(path));     // the end of an earlier one would be taken for its own
        item = m_settings.ItemOf(item.m_strFile); // of the file that was moved, whatever was there before
        if (m_settings.m_options.tellStory)
            Story::TellReceived(item.m_strFile); // before anybody can run it
        m_requests.Add(std::move(item));
        if (m_settings.m_pFigures)
            m_settings.m_pFigures->CountReceived();
        return true;
    }
    // A file that vanished was taken back by its sender, and a server that stops leaves files for the next one.
    if (taken != eTaken_No || !platform::PathExists(path) || !m_bRunning)
        return false;
    m_bFailed = m_settings.m_options.resume;
    if (!IsToldBefore(path))
        WQ_MessageBox(FormatText(L"CZelProcessorServer::AddRequestToQueue : moving of the file '%s' to '%s' failed",
                                 {path, item.m_strFile}),
                      eMessageStyle_Error);
    return false;
}

/// A server that resumes tries each second what it could not move, and tells of it once.
bool CRequestTaker::IsToldBefore(const CString& path)
{
    constexpr std::size_t kMostRemembered = 1000;
    if (!m_settings.m_options.resume)
        return false;
    if (m_told.size() >= kMostRemembered)
        m_told.clear();
    return !m_told.insert(path).second;
}

bool CRequestTaker::IsFull(const std::string& owner) const
{
    return m_settings.m_options.maxQueued != 0 && m_requests.CountOf(owner) >= m_settings.m_options.maxQueued;
}

void CRequestTaker::RefuseRequest(const CString& path, const std::string& owner)
{
    // A status in any case, for without status and file the name would look unknown. Then the file goes, so that who
    // reads of the refusal can use the name again. One that somebody has open stays, and is met again. The status of a
    // request of the same name that waits, is paused or runs is that one's.
    const bool hasStatus = !m_requests.IsKnown(m_settings.m_paths.InQueue(path));
    if (hasStatus)
        m_statuses.SetRequestStatus(path, owner, eRequestStatus_ProcessingStarted,
                                    TextOf(StringCodes::kProcessingStarted));
    const platform::eOsError error = platform::Files().Remove(path);
    if (error == platform::eOsError_SharingViolation)
        m_passedOver.Meet(path);
    if (!platform::Succeeded(error))
        return;
    m_passedOver.Forget(path);
    const CString text =
        FormatText(TextOf(StringCodes::kTooManyWaiting), {std::to_wstring(m_settings.m_options.maxQueued)});
    if (hasStatus)
        m_statuses.SetRequestStatus(path, owner, eRequestStatus_ServerError, text);
    m_refusals.TellRefusal(path + L": " + text);
    if (m_settings.m_pFigures)
        m_settings.m_pFigures->CountRefused();
}

/// Moves a file of the request directory into the queue as soon as nobody has it open. Looked at only there, where
/// nobody else can put another in its place: a link that is not to be followed is deleted, as any failed request is.
CRequestTaker::eTaken CRequestTaker::TakeIntoQueue(const CString& path, const CString& target)
{
    const bool isWaitedFor = !m_settings.m_options.patience || m_passedOver.IsNews(path);
    const platform::eOsError error = Protocol::MoveWhenFree(
        path, target, m_settings.MoveFlags(),
        HeldFile::WithWarning(
            path, [&] { return isWaitedFor && MayWaitForHolder(); }, m_settings.m_options.busyWarning));
    if (error == platform::eOsError_SharingViolation) {
        m_passedOver.Meet(path);
        return eTaken_Held;
    }
    m_passedOver.Forget(path);
    if (!platform::HasMoved(error))
        return eTaken_No;
    if (m_settings.m_options.followLinks || platform::NameKind(target) != platform::eNameKind_Link)
        return eTaken_Yes;
    static_cast<void>(platform::Files().Remove(target));
    m_refusals.TellRefused(path, TextOf(StringCodes::kRefusedLink));
    return eTaken_Refused;
}

/// For the next try with a file that somebody holds; his costs the others this time, all of his together. A file that
/// is held on is tried again by a later look. Whoever waits gets on: what ends the wait is not the server's.
bool CRequestTaker::MayWaitForHolder()
{
    ++m_nTurns;
    return m_bRunning && (!m_settings.m_options.patience || platform::Clock().Steady() < m_holdersEnd);
}
