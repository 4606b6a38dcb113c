#include "ClientState.h"
#include "exchange/HexText.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "protocol/CommandFile.h"
#include "protocol/HandOver.h"
#include "reports/ReportLines.h"
#include "reports/SourceNames.h"

#include <algorithm>
#include <chrono>
#include <cstdint>

using namespace std::chrono_literals;

namespace {

constexpr const wchar_t* kCommandPrefix = L"ZEL_PROCESSOR_COMMAND";
constexpr std::chrono::nanoseconds kPoll = 10ms;
constexpr std::chrono::nanoseconds kLongestPoll = 500ms;
constexpr auto kWithdrawPatience = 500ms;
/// Nobody who is to stop waits longer for the server's answer to his farewell, however long he waits for others.
constexpr std::chrono::milliseconds kLongestFarewell = 10s;

/// Who looks has the status file open, and the server cannot answer meanwhile. On a machine where a look takes long he
/// must be away for longer still, or he waits for an answer that he keeps from being written.
std::chrono::milliseconds PauseAfter(std::chrono::nanoseconds look)
{
    return std::chrono::ceil<std::chrono::milliseconds>(std::clamp(3 * look, kPoll, kLongestPoll));
}

/// The words of the system where it is what failed.
CString TextOf(HRESULT result)
{
    constexpr std::uint32_t kSystem = 0x80070000U;
    const auto number = static_cast<std::uint32_t>(result);
    return (number & ~0xFFFFU) == kSystem ? platform::OsErrorText(static_cast<platform::eOsError>(number & 0xFFFFU))
                                          : L"0x" + HexText(result);
}

/// What a report of a command says of its outcome.
std::vector<CString> Outcome(eCommandType type, eZelProcRequestStatus status)
{
    const bool isOfOperator = type >= CommandFile::kHoldQueue;
    return {isOfOperator ? CommandFile::WordOf(type) : EnumToName(type, GetCommandTypeNames()),
            EnumToName(status, GetRequestStatusNames())};
}

} // namespace

eZelProcRequestStatus CClientState::CancelRequest(const CString& requestPath)
{
    return SendCommand(requestPath, eCommandType_CancelRequest);
}

eZelProcRequestStatus CClientState::PauseRequest(const CString& requestPath)
{
    return SendCommand(requestPath, eCommandType_PauseRequest);
}

eZelProcRequestStatus CClientState::HoldQueue()
{
    return SendCommand(Protocol::kQueueDirectory, CommandFile::kHoldQueue);
}

eZelProcRequestStatus CClientState::ReleaseQueue()
{
    return SendCommand(Protocol::kQueueDirectory, CommandFile::kReleaseQueue);
}

eZelProcRequestStatus CClientState::DrainServer()
{
    return SendCommand(Protocol::kQueueDirectory, CommandFile::kDrainServer);
}

eZelProcRequestStatus CClientState::RetryFailed(const CString& requestPath)
{
    return SendCommand(requestPath, CommandFile::kRetryFailed);
}

eZelProcRequestStatus CClientState::DiscardFailed(const CString& requestPath)
{
    return SendCommand(requestPath, CommandFile::kDiscardFailed);
}

eZelProcRequestStatus CClientState::MoveRequest(const CString& requestPath, eRequestPlace place,
                                                const CString& otherPath)
{
    return SendCommand(requestPath, CommandFile::kMoveRequest, {place, platform::FileNameOf(otherPath)});
}

CString CClientState::CreateCommandFile(eCommandType type, const CString& requestPath,
                                        const CommandFile::SWhere& where) const
{
    constexpr const wchar_t* kFunction = L"CZelProcessorClient::CreateCommandFile";
    if (!CommandFile::WordOf(type))
        return {};
    const CString path = platform::JoinPath(m_strClientDir, kCommandPrefix + CZelProcessorClient::GetUniqueString() +
                                                                Protocol::kCommandExtension);
    HRESULT documentResult = S_OK;
    HRESULT saveResult = S_OK;
    if (CommandFile::Write(path, type, platform::FileNameOf(requestPath), documentResult, &saveResult, where))
        return path;
    if (documentResult != S_OK)
        Report(ReportLines::kNoCommandDocument, kFunction,
               FormatText(L"pDomDocument.CreateInstanceSYS(__uuidof(DOMDocument)) != S_OK, HRESULT = 0x%lx",
                          {HexText(documentResult)}));
    else {
        const CString text = L"Unable to save pDomDocument into file\n" + path;
        Report(ReportLines::kCommandNotSaved, kFunction, text);
        Explain(text + L": " + TextOf(saveResult));
    }
    return {};
}

eZelProcRequestStatus CClientState::SendCommand(const CString& requestPath, eCommandType type,
                                                const CommandFile::SWhere& where)
{
    constexpr const wchar_t* kFunction = L"CZelProcessorClient::SendCommand";
    m_bWithdrawn = false;
    const CString commandFile = CreateCommandFile(type, requestPath, where);
    if (commandFile.empty()) {
        // Why has been explained.
        WQ_ReportErrorNow(SourceNames::kZelProcessorClient, ReportLines::kNoCommandFile, kFunction,
                          L"CreateCommandFile failed ! Command file isn't created");
        return eRequestStatus_ClientError;
    }
    const eZelProcRequestStatus sent = SendMessageToServer(commandFile);
    if (sent != eRequestStatus_Sent) {
        std::vector<CString> arguments = Outcome(type, sent);
        arguments.insert(arguments.end(), {requestPath, commandFile});
        WQ_ReportErrorNow(
            SourceNames::kZelProcessorClient, ReportLines::kCommandNotSent, kFunction,
            FormatText(L"SendMessageToServer(eCommType=%s) != eRequestStatus_Sent, eStatus=%s\n  %s\n  %s", arguments));
        return sent;
    }
    return FollowCommand(commandFile, type);
}

eZelProcRequestStatus CClientState::FollowCommand(const CString& commandFile, eCommandType type)
{
    const std::chrono::nanoseconds start = platform::Clock().Steady();
    const std::chrono::milliseconds timeout =
        type == eCommandType_UnregisterClient ? std::min(m_commandTimeout, kLongestFarewell) : m_commandTimeout;
    const auto isInTime = [&] { return platform::Clock().Steady() - start <= timeout; };
    // A status that somebody keeps open must not hold the command up for longer than a server that does not answer.
    const auto goOn = [&] { return isInTime() && (!m_goOn || m_goOn()); };
    // A client that is to stop has to say its farewell all the same.
    const auto isStopped = [&] { return type != eCommandType_UnregisterClient && m_goOn && !m_goOn(); };
    CAdditionalRequestStatus additional;
    std::chrono::nanoseconds look{};
    const auto lookForAnswer = [&] {
        const std::chrono::nanoseconds lookStart = platform::Clock().Steady();
        const eZelProcRequestStatus answer = LookForStatus(commandFile, &additional, goOn);
        look = platform::Clock().Steady() - lookStart;
        return answer;
    };
    eZelProcRequestStatus status = lookForAnswer();
    const CString sentFile = m_paths.InRequestDir(platform::FileNameOf(commandFile));
    const auto end = [&](eZelProcRequestStatus result) {
        Protocol::RemoveFileWhenFree(m_paths.Status(commandFile));
        return result;
    };
    // Either this removes it or a server moves it away, and never both. A scanner of new files lets go soon.
    const auto withdraw = [&] {
        const std::chrono::nanoseconds patienceEnd = platform::Clock().Steady() + kWithdrawPatience;
        const auto patience = [patienceEnd] { return platform::Clock().Steady() < patienceEnd; };
        // Whoever tries again and again must not leave as many commands for the next server.
        const bool isAnotherTry = m_bRegistersAgain && type == eCommandType_RegisterClient;
        if (isAnotherTry || (m_bWithdraws && type != eCommandType_UnregisterClient))
            m_bWithdrawn = platform::Succeeded(Protocol::RemoveWhenFree(sentFile, patience));
    };
    const auto fail = [&](long line, const wchar_t* function, const wchar_t* format, eZelProcRequestStatus result) {
        std::vector<CString> arguments = Outcome(type, status);
        arguments.insert(arguments.end(), {additional.GetProgressComment(), commandFile});
        Report(line, function, FormatText(format, arguments));
        Explain(sentFile + L": " + additional.GetProgressComment());
        return end(result);
    };
    for (;;) {
        if (status == eRequestStatus_Done)
            return end(status);
        if (status == eRequestStatus_ClientError || status == eRequestStatus_ServerError ||
            status == eRequestStatus_ServerTimeout)
            return fail(ReportLines::kCommandFailed, L"CZelProcessorClient::SendCommand ERROR",
                        L"SendMessageToServer(eCommType=%s) != eRequestStatus_Done, eStatus=%s %s\n  %s", status);
        const bool isOver = isStopped();
        const bool isLate = !isInTime();
        if (isOver || isLate)
            withdraw();
        if (isOver)
            return end(eRequestStatus_NotIntialized);
        if (isLate)
            return fail(ReportLines::kCommandTimeout, L"CZelProcessorClient::SendCommand TIMEOUT",
                        L"SendMessageToServer(eCommType=%s) TIMEOUT , eStatus=%s %s\n  %s",
                        eRequestStatus_ServerTimeout);
        platform::Clock().SleepFor(PauseAfter(m_bYields ? look : std::chrono::nanoseconds::zero()));
        status = lookForAnswer();
    }
}
