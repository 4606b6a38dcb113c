#include "ServerState.h"
#include "ZEL_Processor/ZelProcessor.h"
#include "framework/CrashReport.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/Text.h"
#include "platform/Thread.h"
#include "protocol/ProtocolFiles.h"
#include "reports/SourceNames.h"
#include "reports/StringCodes.h"

#include <chrono>
#include <utility>

namespace {

/// One line tells of all the refusals of this time: who floods the request directory must not flood the log as well.
constexpr std::chrono::minutes kBetweenRefusals{1};

} // namespace

bool CServerState::AddRequestToQueue(const CString& path)
{
    const MOXCrashRpt::CScopedSubject subject(path);
    TSRequestItem item{GetFileInQueueFullPath(path), 0, OwnerOf(path)};
    if (IsFull(item.m_strOwner)) {
        RefuseRequest(path, item.m_strOwner);
        return false;
    }
    // Not under m_cs: this waits for whoever has the file open, and only the listener may wait for him.
    const eTaken taken = TakeIntoQueue(path, item.m_strFile);
    if (taken == eTaken_Yes) {
        item.m_strOwner = OwnerOf(item.m_strFile); // of the file that was moved, whatever was there before
        {
            const std::lock_guard lock(m_cs);
            m_queue->Append(std::move(item));
        }
        m_evQueue->Set();
        return true;
    }
    // A file that vanished was taken back by its sender, and a server that stops leaves files for the next one.
    if (taken == eTaken_No && platform::PathExists(path) && m_bRunning)
        WQ_MessageBox(FormatText(L"CZelProcessorServer::AddRequestToQueue : moving of the file '%s' to '%s' failed",
                                 {path, item.m_strFile}),
                      eMessageStyle_Error);
    return false;
}

/// Empty when no option asks whose files are, which takes a call of the system for each.
std::string CServerState::OwnerOf(const CString& path) const
{
    platform::FileOwner owner;
    const bool isAsked =
        m_options.takeTurns || m_options.maxQueued != 0 || m_options.maxClients != 0 || m_options.privateFiles;
    if (isAsked && !platform::Succeeded(platform::Files().GetOwner(path, owner)))
        owner.clear();
    return owner;
}

/// For whom files are made that concern this owner; empty for everybody. What concerns nobody known is for the server.
std::string CServerState::PrivateFor(const std::string& owner) const
{
    if (!m_options.privateFiles)
        return {};
    return owner.empty() ? OwnerOf(m_strQueueDir) : owner;
}

bool CServerState::IsFull(const std::string& owner) const
{
    const std::lock_guard lock(m_cs);
    return m_options.maxQueued != 0 && m_queue->CountOf(owner) + m_paused->CountOf(owner) >= m_options.maxQueued;
}

void CServerState::RefuseRequest(const CString& path, const std::string& owner)
{
    // A status in any case, for without status and file the name would look unknown. Then the file goes, so that who
    // reads of the refusal can use the name again. One that somebody has open stays, and is met again. The status of a
    // request of the same name that waits, is paused or runs is that one's.
    const bool hasStatus = !IsKnown(path);
    if (hasStatus)
        SetRequestStatus(path, owner, eRequestStatus_ProcessingStarted, TextOf(StringCodes::kProcessingStarted));
    const platform::eOsError error = platform::Files().Remove(path);
    if (error == platform::eOsError_SharingViolation)
        m_bHeld = true;
    if (!platform::Succeeded(error))
        return;
    const CString text = FormatText(TextOf(StringCodes::kTooManyWaiting), {std::to_wstring(m_options.maxQueued)});
    if (hasStatus)
        SetRequestStatus(path, owner, eRequestStatus_ServerError, text);
    TellRefusal(path + L": " + text);
}

void CServerState::TellRefusal(const CString& text)
{
    ++m_nRefusals;
    const std::chrono::nanoseconds now = platform::Clock().Steady();
    if (m_refusalsTold != std::chrono::nanoseconds::zero() && now - m_refusalsTold < kBetweenRefusals)
        return;
    m_refusalsTold = now;
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                     L"Refused (" + std::to_wstring(std::exchange(m_nRefusals, 0)) + L" since the last such line): " +
                         text);
}

bool CServerState::RemoveRequestFromQueue(const CString& name)
{
    TSRequestItem item;
    // Whoever is told that a request is paused may count on a cancel that means it.
    const bool takesPaused = m_options.cancelByName || m_options.pausedStatus;
    if (!TakeWaiting(name, item) && !(takesPaused && TakePaused(name, item)))
        return false;
    // Before the file is gone, or the name would look unknown in between. It is free before anybody can use it again:
    // this very thread takes what is sent.
    if (m_options.cancelByName)
        SetRequestStatus(name, item.m_strOwner, eRequestStatus_Canceled, TextOf(StringCodes::kCanceled));
    if (!platform::Succeeded(
            Protocol::RetryWhileShared([&] { return platform::Files().Remove(item.m_strFile); }, BriefPatience())))
        WQ_MessageBox(L"Unable to delete request file from the queue directory.\nFile:" + item.m_strFile,
                      eMessageStyle_Warning);
    // One that its task declined has a status of that run, which nobody would ever bring to an end.
    if (!m_options.cancelByName)
        RemoveStatus(name);
    return true;
}

bool CServerState::TakeWaiting(const CString& name, TSRequestItem& item)
{
    const std::lock_guard lock(m_cs);
    return m_queue->Take(GetFileInQueueFullPath(name), item);
}

bool CServerState::TakePaused(const CString& name, TSRequestItem& item)
{
    const std::lock_guard lock(m_cs);
    return m_paused->Take(GetFileInQueueFullPath(name), item);
}

bool CServerState::IsRequestInQueue(const CString& name) const
{
    return m_queue->Contains(GetFileInQueueFullPath(name));
}

bool CServerState::IsRequestPaused(const CString& name) const
{
    return m_paused->Contains(GetFileInQueueFullPath(name));
}

unsigned CServerState::MoveFlags() const
{
    return m_options.syncing ? platform::eMoveFlag_WriteThrough : platform::eMoveFlag_None;
}
