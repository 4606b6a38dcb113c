#include "Resume.h"
#include "ClientRegistry.h"
#include "PackedText.h"
#include "RequestQueue.h"
#include "RequestStatuses.h"
#include "ServerSettings.h"
#include "ZEL_Processor/ZelProcessor.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/NameKind.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Seconds.h"
#include "platform/SourceLocation.h"
#include "platform/Text.h"
#include "protocol/HandOver.h"
#include "protocol/ZelProcessorProgressStatusFile.h"
#include "reports/SourceNames.h"
#include "reports/StringCodes.h"

#include <algorithm>
#include <chrono>
#include <string_view>
#include <tuple>

using namespace std::chrono_literals;

CResume::CResume(const CServerSettings& settings, CRequestQueue& requests, CRequestStatuses& statuses,
                 CClientRegistry& registry)
    : m_settings(settings),
      m_requests(requests),
      m_statuses(statuses),
      m_registry(registry),
      m_attempts(settings),
      m_clients(settings),
      m_lost(settings),
      m_ended(settings),
      m_failed(settings),
      m_patience(settings.BriefPatience())
{}

platform::eOsError CResume::Run()
{
    const CWQ_SetResource resource(kResourceModule);
    platform::eOsError error = m_attempts.ReadAll(m_begun);
    if (platform::Succeeded(error))
        error = LookAtEnded();
    if (platform::Succeeded(error))
        error = LookAtOutput();
    if (platform::Succeeded(error))
        error = m_clients.Register(m_registry, m_nClients);
    if (platform::Succeeded(error))
        error = LookAtQueue();
    if (!platform::Succeeded(error))
        return error;
    LookAtTheUnexplained();
    QueueAll();
    Tell();
    m_ended.Flush();
    m_ended.KeepSystemStart(); // last, or what a power cut has left would count as whole if this start was cut short
    return error;
}

/// Files of requests that have ended, kept until that is on the device. After a kill it is in the system's memory,
/// whole. After a power cut a last status can be read or not, but a response may be torn; without a status its client
/// has taken the end, or there never was one on the device. Rather answered once more than never.
platform::eOsError CResume::LookAtEnded()
{
    const bool isCut = m_ended.MayHaveBeenCut();
    m_bMayBeTorn = isCut && m_ended.IsWanted();
    platform::eOsError error = m_ended.TakeOver();
    if (!isCut) {
        m_ended.Flush();
        return error;
    }
    for (const CString& name : m_ended.TakeNames()) {
        const CString kept = m_ended.PathOf(name);
        const CString queued = m_settings.m_paths.InQueue(name);
        // Who uses the name again has had the end.
        const bool isOld = platform::PathExists(queued) || platform::PathExists(m_settings.m_paths.InRequestDir(name));
        if (isOld || HasFailed(name)) {
            static_cast<void>(m_ended.LetGo(name));
            continue;
        }
        TakeBack(name);
        m_failed.Forget(name);
        if (platform::Succeeded(error))
            error = platform::Files().Move(kept, queued, platform::eMoveFlag_None);
    }
    return error;
}

/// Then it has no response, whatever came back.
bool CResume::HasFailed(const CString& name)
{
    const bool hasFailed = Told(name) == eTold_Failed;
    if (hasFailed)
        static_cast<void>(Protocol::RemoveWhenFree(m_settings.m_paths.Output(name), m_patience));
    return hasFailed;
}

/// Has a request run again whose response may be torn. No client takes one whose status is not final; what cannot be
/// removed the run writes anew. To the next start the status says that no run was interrupted.
void CResume::TakeBack(const CString& name)
{
    SetStatus(name, eRequestStatus_Waiting, StringCodes::kWaitingInQueue);
    static_cast<void>(Protocol::RemoveWhenFree(m_settings.m_paths.Output(name), m_patience));
}

eTold CResume::Told(const CString& requestName) const
{
    return ReadTold(m_settings.m_paths.Status(requestName), m_patience);
}

platform::eOsError CResume::LookAtQueue()
{
    const platform::eOsError error =
        platform::Files().Visit(m_settings.m_paths.m_strQueueDir, [this](const platform::SDirectoryEntry& entry) {
            if (!entry.isDirectory)
                LookAtQueued(entry);
            return true;
        });
    for (const auto& [name, attempts] : m_begun) {
        if (!platform::PathExists(m_settings.m_paths.InQueue(name)))
            m_attempts.Forget(name);
    }
    return error;
}

void CResume::LookAtQueued(const platform::SDirectoryEntry& entry)
{
    const CString path = m_settings.m_paths.InQueue(entry.name);
    if (Protocol::GetFileKind(entry.name) == Protocol::eFileKind_Command)
        EndCommand(entry.name, eTold_Nothing); // taken, and its first status not yet written
    else if (MayBeRequest(entry, path))
        LookAtRequest(path, entry.name);
    else
        m_lost.MoveAside(path);
}

bool CResume::MayBeRequest(const platform::SDirectoryEntry& entry, const CString& path) const
{
    const platform::eNameKind kind = entry.kind == platform::eNameKind_Missing ? platform::NameKind(path) : entry.kind;
    const bool isFile =
        kind == platform::eNameKind_File || (kind == platform::eNameKind_Link && m_settings.m_options.followLinks);
    // A pause takes files of any name, unless the host wants requests only.
    return isFile && (Protocol::GetFileKind(entry.name) == Protocol::eFileKind_Request ||
                      !m_settings.m_options.requestsOnly || m_told.contains(entry.name));
}

void CResume::LookAtRequest(const CString& path, const CString& name)
{
    platform::FileTimeNs arrived = 0;
    // Without its time it is the first, and no status is taken for its end: rather answered twice than never.
    const bool hasTime = platform::Succeeded(platform::Files().GetChangeTime(path, arrived)) && arrived != 0;
    const auto found = m_told.find(name);
    const auto begun = m_begun.find(name);
    const bool hasStatus = found != m_told.end();
    // A power cut may have undone that it went on: where no run is to be begun twice, the record of one says so.
    const bool hasBegun = begun != m_begun.end() && begun->second.runs != 0;
    const bool hasRun = m_bMayBeTorn && m_settings.m_options.interrupted == eInterrupted_Fail && hasBegun;
    if (hasStatus && found->second == eTold_Paused && !hasRun) {
        ++m_nPaused;
        return m_requests.Pause(m_settings.ItemOf(path));
    }
    const bool isEnd = hasStatus && IsEnd(found->second);
    const bool hasEnd = isEnd && hasTime && !IsOlderThan(arrived, name);
    const bool isTakenBack = hasEnd && m_bMayBeTorn && found->second == eTold_Done;
    if (isTakenBack)
        TakeBack(name);
    if (hasEnd && !isTakenBack) {
        ++m_nAnswered;
        m_attempts.Forget(name);
        return m_lost.MoveAside(path, CLostAndFound::eReason_HasEnded); // new, if the clock was set back
    }
    const bool isOfAnother = isEnd && !hasEnd;
    eQueued state = eQueued_Waiting;
    if (isTakenBack || (hasStatus && found->second == eTold_Waiting))
        state = eQueued_TakenBack;
    else if (!isOfAnother && (hasStatus || hasBegun))
        state = eQueued_Interrupted;
    m_queued.push_back({state, arrived, PackedText::Pack(name)});
}

/// Whether a last status was written before the file of its name was queued: then it is the end of another request,
/// whose client has not removed it.
bool CResume::IsOlderThan(platform::FileTimeNs arrived, const CString& name) const
{
    platform::SFileAttributes status;
    return platform::Succeeded(platform::Files().GetAttributes(m_settings.m_paths.Status(name), status)) &&
           status.times.modified < arrived;
}

void CResume::QueueAll()
{
    std::ranges::sort(m_queued, {}, [](const SQueued& queued) {
        return std::tuple(queued.state == eQueued_Waiting, queued.arrived, std::string_view(queued.name));
    });
    for (; !m_queued.empty(); m_queued.pop_front()) {
        const SQueued& queued = m_queued.front();
        const CString name = PackedText::Unpack(queued.name);
        TSRequestItem item = m_settings.ItemOf(m_settings.m_paths.InQueue(name));
        item.m_bTakenBack = queued.state == eQueued_TakenBack;
        if (const auto begun = m_begun.find(name); begun != m_begun.end() && !item.m_bTakenBack)
            item.m_nFailedRuns = static_cast<std::uint8_t>(std::min(begun->second.failed, item.m_nMaxRuns - 1U));
        if (queued.state != eQueued_Waiting) {
            ++(item.m_bTakenBack ? m_nTakenBack : m_nInterrupted);
            QueueAgain(std::move(item), name);
        } else {
            ++m_nWaiting;
            m_requests.Add(std::move(item));
        }
    }
}

void CResume::QueueAgain(TSRequestItem item, const CString& name)
{
    const SZelServerOptions& options = m_settings.m_options;
    const auto found = m_begun.find(name);
    if (!item.m_bTakenBack)
        item.m_nAttempts = found == m_begun.end() ? 1 : std::max(found->second.runs, 1U);
    // A record may be left over, or come back with a power cut: only beside the status of a run it tells of one.
    const bool hasLimit = found != m_begun.end() && !item.m_bTakenBack && m_told.contains(name);
    const std::chrono::milliseconds limit = hasLimit ? found->second.limit : 0ms;
    const bool isToFail = options.interrupted == eInterrupted_Fail || limit != 0ms ||
                          (options.attempts != 0 && item.m_nAttempts >= options.attempts);
    // Also of one that runs again: it may be cancelled first, and its part of a response then be taken for a whole one.
    static_cast<void>(Protocol::RemoveWhenFree(m_settings.m_paths.Output(name), m_patience));
    if (!isToFail && item.m_bTakenBack)
        m_attempts.Forget(name); // the last of its runs had ended
    if (!isToFail)
        return m_requests.Add(std::move(item));
    // As any request that fails: no part of a response, no file, and then the status. The record goes last. The
    // status of the run may be in parts, or undone by a power cut, and who looks while the file is gone must find one.
    m_statuses.SetRequestStatus(name, item.m_strOwner, eRequestStatus_ProcessingStarted,
                                TextOf(StringCodes::kProcessingStarted));
    CString text = FormatText(TextOf(StringCodes::kRequestInterrupted), {std::to_wstring(item.m_nAttempts)});
    if (item.m_bTakenBack)
        text = TextOf(StringCodes::kEndUndone);
    else if (limit != 0ms)
        text = FormatText(TextOf(StringCodes::kTimeLimit), {SecondsText(limit)});
    const bool isKept = m_failed.Begin(item, {.when = platform::Clock().UtcSeconds(),
                                              .reason = text,
                                              .attempt = item.m_nFailedRuns + 1U,
                                              .attempts = item.m_nMaxRuns});
    static_cast<void>(m_ended.EndWithoutResponse(
        item.m_strFile, [&] { m_statuses.SetRequestStatus(name, item.m_strOwner, eRequestStatus_ServerError, text); },
        isKept ? CEndedRequests::eEnd_Failed : CEndedRequests::eEnd_Status));
    if (m_ended.IsFull())
        m_ended.Flush(); // there may be many
    m_attempts.Forget(name);
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                     item.m_strFile + L": " + text);
}

/// In place of one that is for the request's owner already: who that is, only the file knows.
void CResume::SetStatus(const CString& name, eZelProcRequestStatus status, const SStringCode& text)
{
    const CString path = m_settings.m_paths.Status(name);
    CZelProcessorProgressStatusFile file(platform::FromUtf8(kLoggerName), path);
    file.SetPatience(std::chrono::milliseconds(1));
    file.SetToldOnce(m_settings.m_options.tellStory);
    CZelProcessor::SetStatus(&file, status, TextOf(text));
    m_statuses.KeepUnwritten(file, path);
}

void CResume::Tell() const
{
    const auto number = [](std::size_t count) { return std::to_wstring(count); };
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Info, ZEL_SOURCE_LOCATION,
                     L"Resumed: " + number(m_nWaiting) + L" waiting, " + number(m_nInterrupted) + L" interrupted, " +
                         (m_nTakenBack == 0 ? CString() : number(m_nTakenBack) + L" taken back, ") + number(m_nPaused) +
                         L" paused, " + number(m_nAnswered) + L" answered, " + number(m_nClients) + L" clients, " +
                         number(m_lost.Count()) + L" moved aside");
}
