#include "LeftStatuses.h"
#include "ServerState.h"
#include "ZEL_Processor/ZelProcessor.h"
#include "com/Guid.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/Thread.h"
#include "protocol/CommandFile.h"
#include "protocol/ProtocolFiles.h"
#include "protocol/ZelProcessorProgressStatusFile.h"
#include "reports/SourceNames.h"
#include "reports/StringCodes.h"

#include <algorithm>
#include <chrono>
#include <exception>

using namespace std::chrono_literals;

namespace {

constexpr std::uint32_t kOpenTimeoutMs = 5000;
constexpr auto kOpenRetry = 100ms;
constexpr auto kImpatientOpenRetry = 5ms;
constexpr std::size_t kMaxReason = 520;

} // namespace

bool CServerState::ProcessCommand(const CString& path, eTaken taken, CZelProcessorProgress* progress)
{
    const CWQ_SetResource resource(kResourceModule);
    const CString queuePath = GetFileInQueueFullPath(path);
    if (taken == eTaken_No)
        m_pProcessor->SetStatus(progress, eRequestStatus_ServerError,
                                FormatText(TextOf(StringCodes::kUnableMoveIntoQueue), {path, queuePath}));
    if (taken != eTaken_Yes)
        return false;
    CommandFile::SContent command;
    bool isRefused = false;
    if (!WaitUntilReadable(queuePath, progress) || !ReadCommand(queuePath, progress, command) ||
        (!CarryOutCommand(command, OwnerOf(queuePath), progress, isRefused) && !isRefused))
        return false;
    static_cast<void>(platform::Files().Remove(queuePath));
    if (!isRefused)
        m_pProcessor->SetStatus(progress, eRequestStatus_Done, TextOf(StringCodes::kDone));
    return true;
}

/// A limit is no failure of the server's: the client is told, and the operator by a line of the log.
bool CServerState::Refuse(CZelProcessorProgress* progress, const CString& text, bool& isRefused)
{
    isRefused = true;
    m_pProcessor->SetStatus(progress, eRequestStatus_ServerError, text);
    TellRefusal(text);
    return false;
}

/// Proves that the writer has let go of the file. The host's patience is this command's own here, not that of the look:
/// it was taken, so that it would not be met again.
bool CServerState::WaitUntilReadable(const CString& queuePath, CZelProcessorProgress* progress)
{
    const auto fail = [&](const CString& cause) {
        m_pProcessor->SetStatus(progress, eRequestStatus_ServerError,
                                FormatText(TextOf(StringCodes::kUnableOpenInQueue), {queuePath}) + cause);
        return false;
    };
    try {
        const bool isPatient = m_options.patienceMs == 0;
        const std::uint32_t timeout = isPatient ? kOpenTimeoutMs : std::min(kOpenTimeoutMs, m_options.patienceMs);
        const std::uint32_t start = platform::Clock().TickCount();
        for (;;) {
            std::unique_ptr<platform::IFile> file;
            const platform::eOsError error = platform::Files().Open(queuePath, platform::eOpenMode_ReadShared, file);
            if (platform::Succeeded(error))
                return true;
            if (!m_bRunning)
                return false; // no failure: a server that stops has no answers
            if (platform::Clock().TickCount() - start > timeout)
                return fail(L"\nCause 1:\n" + platform::OsErrorText(error).substr(0, kMaxReason));
            ++m_nListenerTurns;
            platform::Clock().SleepFor(isPatient ? kOpenRetry : kImpatientOpenRetry);
        }
    } catch (const std::exception& exception) {
        return fail(L"\nCause 2:\n" + platform::FromUtf8(exception.what()));
    } catch (...) {
        return fail(L"\nCause 2:\n\nUnknown exception");
    }
}

bool CServerState::ReadCommand(const CString& queuePath, CZelProcessorProgress* progress,
                               CommandFile::SContent& command)
{
    const auto fail = [&](const CString& comment) {
        m_pProcessor->SetStatus(progress, eRequestStatus_ServerError, comment);
        return false;
    };
    switch (CommandFile::Read(queuePath, command)) {
    case CommandFile::eRead_NoXml:
        if (!command.reason.empty())
            command.reason = L"\n" + command.reason + L"\n";
        return fail(WQ_LoadString(StringCodes::kCantParseCommand) + command.reason + queuePath);
    case CommandFile::eRead_Incomplete: return fail(TextOf(StringCodes::kInvalidCommandFile));
    case CommandFile::eRead_Ok: break;
    }
    return true;
}

bool CServerState::CarryOutCommand(const CommandFile::SContent& command, const std::string& owner,
                                   CZelProcessorProgress* progress, bool& isRefused)
{
    switch (command.type) {
    case eCommandType_CancelRequest: CancelRequest(command.name, progress); return true;
    case eCommandType_PauseRequest: return PauseOrUnpauseRequest(command.name, progress, isRefused);
    case eCommandType_RegisterClient:
        if (IsFullOfClients(owner))
            return Refuse(progress,
                          FormatText(TextOf(StringCodes::kTooManyClients), {std::to_wstring(m_options.maxClients)}),
                          isRefused);
        RegisterNewClient(command.name, owner);
        return true;
    case eCommandType_UnregisterClient:
        if (GUID clientId{}; GuidFromText(command.name, clientId))
            UnregisterClient(clientId);
        return true;
    default: return false;
    }
}

void CServerState::CancelRequest(const CString& name, CZelProcessorProgress* progress)
{
    while (!RemoveRequestFromQueue(name)) {
        const std::lock_guard lock(m_cs);
        if (IsRequestInQueue(name))
            continue; // its task declined it between the two looks
        // Whatever runs is meant when the name does not wait, unless the host wants names to count.
        if (!m_options.cancelByName || m_strRunning == GetFileInQueueFullPath(name))
            CancelRunningRequest();
        return;
    }
    m_pProcessor->SetStatus(progress, eRequestStatus_Canceled, TextOf(StringCodes::kCanceled));
}

/// What is taken out of one list or out of the request directory is put into the other one in a second step, so that no
/// file is touched under m_cs. In between it is nobody's but this thread's, and no other one handles commands.
bool CServerState::PauseOrUnpauseRequest(const CString& name, CZelProcessorProgress* progress, bool& isRefused)
{
    if (!platform::IsPlainFileName(name))
        return false;
    if (UnpauseRequest(name))
        return true;
    TSRequestItem item;
    if (!TakeWaiting(name, item)) {
        if (IsFull(OwnerOf(GetFileInRequestDirFullPath(name))))
            return Refuse(progress,
                          FormatText(TextOf(StringCodes::kTooManyWaiting), {std::to_wstring(m_options.maxQueued)}),
                          isRefused);
        if (!TakeNotQueued(name, item))
            return false;
    }
    const std::string owner = item.m_strOwner;
    {
        const std::lock_guard lock(m_cs);
        m_paused->Append(std::move(item));
    }
    // The command's own status goes on to Done at once; the request's stays for whoever asks for it.
    m_pProcessor->SetStatus(progress, eRequestStatus_Paused, TextOf(StringCodes::kPaused));
    if (m_options.pausedStatus)
        SetRequestStatus(name, owner, eRequestStatus_Paused, TextOf(StringCodes::kPaused));
    return true;
}

void CServerState::SetRequestStatus(const CString& name, const std::string& owner, eZelProcRequestStatus status,
                                    const CString& text)
{
    // The listener, which serves all, waits no longer for who holds this one request's file than at its stop.
    static constinit const std::atomic<bool> s_isPatient = false;
    // The request's owner's, not that of who sent the command.
    const platform::CPrivateFiles files(PrivateFor(owner));
    const CString path = m_pProcessor->GetOutputStatusFilePath(name);
    m_pLeftStatuses->Forget(path);
    CZelProcessorProgressStatusFile statusFile(platform::FromUtf8(kLoggerName), path, &s_isPatient);
    statusFile.SetPatience(std::chrono::milliseconds(m_options.patienceMs));
    m_pProcessor->SetStatus(&statusFile, status, text);
    KeepUnwritten(statusFile, path);
}

void CServerState::KeepUnwritten(const CZelProcessorProgressStatusFile& statusFile, const CString& statusPath)
{
    if (statusFile.Unwritten().empty())
        return;
    m_pLeftStatuses->Leave(statusPath, statusFile.Unwritten());
    m_evQueue->Set(); // who tries again may be asleep
}

void CServerState::RemoveStatus(const CString& name)
{
    const CString path = m_pProcessor->GetOutputStatusFilePath(name);
    m_pLeftStatuses->Forget(path);
    static_cast<void>(Protocol::RetryWhileShared([&] { return platform::Files().Remove(path); }, BriefPatience()));
}

bool CServerState::UnpauseRequest(const CString& name)
{
    TSRequestItem item;
    if (!TakePaused(name, item))
        return false;
    // Without the status of the pause the request looks to its client as if it waited, which it does.
    if (m_options.pausedStatus)
        RemoveStatus(name);
    {
        const std::lock_guard lock(m_cs);
        m_queue->PutNext(std::move(item));
    }
    m_evQueue->Set();
    return true;
}

bool CServerState::TakeNotQueued(const CString& name, TSRequestItem& item)
{
    const CString path = GetFileInRequestDirFullPath(name);
    item.m_strFile = GetFileInQueueFullPath(name);
    if (m_options.requestsOnly && Protocol::GetFileKind(name) != Protocol::eFileKind_Request)
        return false;
    if (!platform::PathExists(path) || (m_options.tellRefused && !WhyRefused(path).empty()))
        return false;
    const eTaken taken = TakeIntoQueue(path, item.m_strFile);
    if (taken == eTaken_Yes) {
        item.m_strOwner = OwnerOf(item.m_strFile);
        return true;
    }
    if ((taken == eTaken_No || taken == eTaken_Held) && platform::PathExists(path) && m_bRunning)
        WQ_MessageBox(FormatText(L"CZelProcessorServer::PauseOrUnpauseRequest : moving of the file '%s' to '%s' failed",
                                 {path, item.m_strFile}),
                      eMessageStyle_Error);
    return false;
}
