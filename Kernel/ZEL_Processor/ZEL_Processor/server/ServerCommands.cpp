#include "ServerCommands.h"
#include "AttemptRecords.h"
#include "ClientRegistry.h"
#include "RequestQueue.h"
#include "RequestRefusals.h"
#include "RequestStatuses.h"
#include "ServerFigures.h"
#include "ServerSettings.h"
#include "Story.h"
#include "ZEL_Processor/ZelProcessor.h"
#include "com/Guid.h"
#include "framework/CrashReport.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/PrivateFiles.h"
#include "platform/Text.h"
#include "protocol/CommandFile.h"
#include "protocol/HandOver.h"
#include "protocol/ZelProcessorProgressStatusFile.h"
#include "reports/SourceNames.h"
#include "reports/StringCodes.h"

#include <algorithm>
#include <chrono>
#include <exception>

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds kOpenTimeout = 5s;
/// However impatient a host is: scanners of new files let go by then, and the command would be lost.
constexpr std::chrono::milliseconds kShortestOpenTimeout = 100ms;
constexpr auto kOpenRetry = 100ms;
constexpr auto kImpatientOpenRetry = 5ms;
constexpr std::size_t kMaxReason = 520;

CString WhatIsAsked(const CommandFile::SContent& command)
{
    switch (static_cast<std::int32_t>(command.type)) { // those of an operator as well
    case eCommandType_CancelRequest: return L"cancel " + command.name;
    case eCommandType_PauseRequest: return L"pause or resume " + command.name;
    case eCommandType_RegisterClient: return L"register a client, answer in " + command.name;
    case eCommandType_UnregisterClient: return L"unregister the client " + command.name;
    case CommandFile::kHoldQueue: return L"hold the queue";
    case CommandFile::kReleaseQueue: return L"release the queue";
    case CommandFile::kMoveRequest: return L"move " + command.name;
    case CommandFile::kDrainServer: return L"drain the server";
    case CommandFile::kRetryFailed: return L"run again the failed request " + command.name;
    case CommandFile::kDiscardFailed: return L"discard the failed request " + command.name;
    default: return L"of an unknown type, for " + command.name;
    }
}

} // namespace

void CServerCommands::HandleCommandFile(const CString& path)
{
    const MOXCrashRpt::CScopedSubject subject(path);
    const platform::CPrivateFiles files(m_settings.PrivateFor(m_settings.OwnerOf(path)));
    const CString statusPath = m_settings.m_paths.Status(path);
    CZelProcessorProgressStatusFile statusFile(platform::FromUtf8(kLoggerName), statusPath, &m_bRunning);
    statusFile.SetPatience(m_settings.PatienceWithReaders());
    statusFile.SetToldOnce(m_settings.m_options.tellStory);
    statusFile.SetTurns(&m_nTurns);
    const auto tellStart = [&] {
        m_statuses.Left().Forget(statusPath); // that of an earlier command of this name
        CZelProcessor::SetStatus(&statusFile, eRequestStatus_ProcessingStarted,
                                 TextOf(StringCodes::kProcessingStarted));
    };
    // With patience a command that somebody has open is met at one look after the other. That is no start, and who has
    // its status open as well would be waited for, and told of, at each of them.
    const bool isStartToldFirst = !m_settings.m_options.patience;
    if (isStartToldFirst)
        tellStart();
    const CRequestTaker::eTaken taken = m_taker.TakeIntoQueue(path, m_settings.m_paths.InQueue(path));
    // A server that stops leaves what it could not take for the next one, which is no failure; nor is what somebody
    // still has open.
    if (taken == CRequestTaker::eTaken_Held || (taken == CRequestTaker::eTaken_No && !m_bRunning))
        return;
    if (!isStartToldFirst && taken != CRequestTaker::eTaken_Refused)
        tellStart();
    m_strAsked.clear();
    m_bToldOtherwise = taken == CRequestTaker::eTaken_Refused;
    const bool isDone = ProcessCommand(path, taken, &statusFile);
    if (m_settings.m_pFigures) // of what waits, is paused or held, say
        m_settings.m_pFigures->Change();
    if (taken != CRequestTaker::eTaken_Refused) // told by a status of its own
        m_statuses.KeepUnwritten(statusFile, statusPath);
    if (m_settings.m_options.tellStory) {
        if (!m_bToldOtherwise && m_bRunning)
            Story::TellCommand(m_strAsked, statusFile);
    } else if (!isDone && m_bRunning)
        WQ_MessageBox(FormatText(L"Processing of command %s failed", {path}), eMessageStyle_Error);
}

bool CServerCommands::ProcessCommand(const CString& path, CRequestTaker::eTaken taken, CZelProcessorProgress* progress)
{
    const CWQ_SetResource resource(kResourceModule);
    const CString queuePath = m_settings.m_paths.InQueue(path);
    if (taken == CRequestTaker::eTaken_No)
        CZelProcessor::SetStatus(progress, eRequestStatus_ServerError,
                                 FormatText(TextOf(StringCodes::kUnableMoveIntoQueue), {path, queuePath}));
    if (taken != CRequestTaker::eTaken_Yes)
        return false;
    CommandFile::SContent command;
    bool isRefused = false;
    if (!WaitUntilReadable(queuePath, progress) || !ReadCommand(queuePath, progress, command) ||
        (!CarryOutCommand(command, queuePath, progress, isRefused) && !isRefused))
        return false;
    static_cast<void>(platform::Files().Remove(queuePath));
    if (!isRefused)
        CZelProcessor::SetStatus(progress, eRequestStatus_Done, TextOf(StringCodes::kDone));
    return true;
}

/// A limit is no failure of the server's: the client is told, and the operator by a line of the log.
bool CServerCommands::Refuse(CZelProcessorProgress* progress, const CString& text, bool& isRefused)
{
    isRefused = true;
    m_bToldOtherwise = true;
    CZelProcessor::SetStatus(progress, eRequestStatus_ServerError, text);
    m_refusals.TellRefusal(text);
    return false;
}

/// Proves that the writer has let go of the file. The host's patience is this command's own here, not that of the look:
/// it was taken, so that it would not be met again.
bool CServerCommands::WaitUntilReadable(const CString& queuePath, CZelProcessorProgress* progress)
{
    const auto fail = [&](const CString& cause) {
        CZelProcessor::SetStatus(progress, eRequestStatus_ServerError,
                                 FormatText(TextOf(StringCodes::kUnableOpenInQueue), {queuePath}) + cause);
        return false;
    };
    try {
        const bool isPatient = !m_settings.m_options.patience;
        const std::chrono::milliseconds timeout =
            std::clamp(m_settings.m_options.patience.value_or(kOpenTimeout), kShortestOpenTimeout, kOpenTimeout);
        const std::uint32_t start = platform::Clock().TickCount();
        for (;;) {
            std::unique_ptr<platform::IFile> file;
            const platform::eOsError error = platform::Files().Open(queuePath, platform::eOpenMode_ReadShared, file);
            if (platform::Succeeded(error))
                return true;
            if (!m_bRunning)
                return false; // no failure: a server that stops has no answers
            if (std::chrono::milliseconds(platform::Clock().TickCount() - start) > timeout)
                return fail(L"\nCause 1:\n" + platform::OsErrorText(error).substr(0, kMaxReason));
            ++m_nTurns;
            platform::Clock().SleepFor(isPatient ? kOpenRetry : kImpatientOpenRetry);
        }
    } catch (const std::exception& exception) {
        return fail(L"\nCause 2:\n" + platform::FromUtf8(exception.what()));
    } catch (...) {
        return fail(L"\nCause 2:\n\nUnknown exception");
    }
}

bool CServerCommands::ReadCommand(const CString& queuePath, CZelProcessorProgress* progress,
                                  CommandFile::SContent& command)
{
    const auto fail = [&](const CString& comment) {
        CZelProcessor::SetStatus(progress, eRequestStatus_ServerError, comment);
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
    if (COperatorCommands::IsOne(command.type) && !COperatorCommands::Takes(m_settings.m_options, command.type))
        command.type = eCommandType_NotInitialized; // as any word that is not known
    m_strAsked = WhatIsAsked(command);
    return true;
}

bool CServerCommands::CarryOutCommand(const CommandFile::SContent& command, const CString& queuePath,
                                      CZelProcessorProgress* progress, bool& isRefused)
{
    if (COperatorCommands::IsOne(command.type)) {
        const CString refusal = m_operator.CarryOut(command, queuePath);
        return refusal.empty() || Refuse(progress, refusal, isRefused);
    }
    switch (command.type) {
    case eCommandType_CancelRequest: CancelRequest(command.name, progress); return true;
    case eCommandType_PauseRequest: return PauseOrUnpauseRequest(command.name, progress, isRefused);
    case eCommandType_RegisterClient: {
        const std::string owner = m_settings.OwnerOf(queuePath);
        if (m_settings.m_options.maxClients != 0 && m_registry.CountOf(owner) >= m_settings.m_options.maxClients)
            return Refuse(
                progress,
                FormatText(TextOf(StringCodes::kTooManyClients), {std::to_wstring(m_settings.m_options.maxClients)}),
                isRefused);
        RegisterNewClient(command.name, owner);
        return true;
    }
    case eCommandType_UnregisterClient:
        if (GUID clientId{}; GuidFromText(command.name, clientId))
            m_registry.UnregisterClient(clientId);
        return true;
    default: return false;
    }
}

bool CServerCommands::RegisterNewClient(const CString& requestId, const std::string& owner)
{
    if (!platform::IsPlainFileName(requestId))
        return false;
    const CString answer = m_settings.m_paths.Output(requestId);
    if (Protocol::IsNameOfTheServers(requestId) || m_requests.IsKnown(m_settings.m_paths.InQueue(requestId))) {
        m_refusals.TellRefusal(answer + L": the answer to a registration cannot have this name");
        return false;
    }
    return m_registry.Register(answer, owner, [this] { return Patience(); });
}

/// For a file of the output directory that somebody has open: until the server stops, or the host's patience ends.
std::function<bool()> CServerCommands::Patience()
{
    const std::chrono::nanoseconds end = platform::Clock().Steady() + m_settings.PatienceWithReaders();
    return [this, end] {
        ++m_nTurns;
        return m_bRunning && (!m_settings.m_options.patience || platform::Clock().Steady() < end);
    };
}

void CServerCommands::CancelRequest(const CString& name, CZelProcessorProgress* progress)
{
    // Once more when its task declined it between the two looks. Whatever runs is meant when the name does not wait,
    // unless the host wants names to count.
    while (!RemoveRequestFromQueue(name)) {
        if (m_requests.CancelRunningRequest(m_settings.m_paths.InQueue(name), m_settings.CancelsByName()))
            return;
    }
    CZelProcessor::SetStatus(progress, eRequestStatus_Canceled, TextOf(StringCodes::kCanceled));
}

/// What is taken out of one list or out of the request directory is put into the other one in a second step, so that no
/// file is touched under the queue's lock. In between it is nobody's but this thread's, and no other one handles
/// commands.
bool CServerCommands::PauseOrUnpauseRequest(const CString& name, CZelProcessorProgress* progress, bool& isRefused)
{
    if (!platform::IsPlainFileName(name))
        return false;
    if (UnpauseRequest(name))
        return true;
    TSRequestItem item;
    if (!m_requests.TakeWaiting(m_settings.m_paths.InQueue(name), item)) {
        if (m_taker.IsFull(m_settings.OwnerOf(m_settings.m_paths.InRequestDir(name))))
            return Refuse(
                progress,
                FormatText(TextOf(StringCodes::kTooManyWaiting), {std::to_wstring(m_settings.m_options.maxQueued)}),
                isRefused);
        if (!TakeNotQueued(name, item))
            return false;
    }
    const std::string owner = item.m_strOwner;
    m_requests.Pause(std::move(item));
    // The command's own status goes on to Done at once; the request's stays for whoever asks for it.
    CZelProcessor::SetStatus(progress, eRequestStatus_Paused, TextOf(StringCodes::kPaused));
    if (m_settings.m_options.pausedStatus)
        m_statuses.SetRequestStatus(name, owner, eRequestStatus_Paused, TextOf(StringCodes::kPaused));
    return true;
}

bool CServerCommands::UnpauseRequest(const CString& name)
{
    TSRequestItem item;
    if (!m_requests.TakePaused(m_settings.m_paths.InQueue(name), item))
        return false;
    // Without the status of the pause the request looks to its client as if it waited, which it does.
    if (m_settings.m_options.pausedStatus)
        m_statuses.RemoveStatus(name);
    item.m_nNotBefore = m_settings.ItemOf(item.m_strFile).m_nNotBefore; // which no list of paused ones keeps
    m_requests.Unpause(std::move(item));
    return true;
}

bool CServerCommands::TakeNotQueued(const CString& name, TSRequestItem& item)
{
    const CString path = m_settings.m_paths.InRequestDir(name);
    item.m_strFile = m_settings.m_paths.InQueue(name);
    if (m_settings.m_options.requestsOnly && Protocol::GetFileKind(name) != Protocol::eFileKind_Request)
        return false;
    if (m_requests.IsDraining()) // it is the next server's
        return false;
    if (!platform::PathExists(path) ||
        (m_settings.m_options.tellRefused && !m_refusals.WhyRefused(path, platform::eNameKind_Missing).empty()))
        return false;
    const CRequestTaker::eTaken taken = m_taker.TakeIntoQueue(path, item.m_strFile);
    if (taken == CRequestTaker::eTaken_Yes) {
        item = m_settings.ItemOf(item.m_strFile);
        return true;
    }
    if ((taken == CRequestTaker::eTaken_No || taken == CRequestTaker::eTaken_Held) && platform::PathExists(path) &&
        m_bRunning)
        WQ_MessageBox(FormatText(L"CZelProcessorServer::PauseOrUnpauseRequest : moving of the file '%s' to '%s' failed",
                                 {path, item.m_strFile}),
                      eMessageStyle_Error);
    return false;
}

bool CServerCommands::RemoveRequestFromQueue(const CString& name)
{
    TSRequestItem item;
    const CString queuePath = m_settings.m_paths.InQueue(name);
    // Whoever is told that a request is paused may count on a cancel that means it.
    const bool takesPaused = m_settings.CancelsByName() || m_settings.m_options.pausedStatus;
    if (!m_requests.TakeWaiting(queuePath, item) && !(takesPaused && m_requests.TakePaused(queuePath, item)))
        return false;
    if (m_settings.m_pFigures)
        m_settings.m_pFigures->EndWaiting(item);
    // Before the file is gone, or the name would look unknown in between. It is free before anybody can use it again:
    // this very thread takes what is sent. A start that takes over what lies there would run a file whose client has
    // read of the end and removed the status, so there the end comes last.
    const SZelServerOptions& options = m_settings.m_options;
    const auto tell = [&](eZelProcRequestStatus status, const SStringCode& text) {
        if (m_settings.CancelsByName())
            m_statuses.SetRequestStatus(name, item.m_strOwner, status, TextOf(text));
    };
    tell(options.resume ? eRequestStatus_ProcessingStarted : eRequestStatus_Canceled,
         options.resume ? StringCodes::kProcessingStarted : StringCodes::kCanceled);
    const platform::eOsError error =
        options.resume
            ? m_ended.EndWithoutResponse(item.m_strFile, [&] { tell(eRequestStatus_Canceled, StringCodes::kCanceled); })
            : Protocol::RemoveWhenFree(item.m_strFile, m_settings.BriefPatience());
    if (!platform::Succeeded(error))
        WQ_MessageBox(L"Unable to delete request file from the queue directory.\nFile:" + item.m_strFile,
                      eMessageStyle_Warning);
    // One that its task declined has a status of that run, which nobody would ever bring to an end.
    if (!m_settings.CancelsByName())
        m_statuses.RemoveStatus(name);
    if (options.resume && item.m_nFailedRuns != 0)
        CAttemptRecords(m_settings).Forget(name); // or it would count for the next one of this name
    m_ended.Flush(); // who is told that his cancel was carried out has nobody else's sync to wait for
    return true;
}

void CServerCommands::TryAgain()
{
    if (m_ended.IsEmpty())
        return;
    const std::chrono::nanoseconds now = platform::Clock().Steady();
    // A clock that was set back, as tests do, must not end the tries.
    if (now >= m_lastTry && now - m_lastTry < m_ended.UntilFlush())
        return;
    m_lastTry = now;
    m_ended.Flush();
}
