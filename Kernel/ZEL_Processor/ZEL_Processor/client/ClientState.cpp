#include "ClientState.h"

#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "protocol/HandOver.h"
#include "reports/ReportLines.h"
#include "reports/SourceNames.h"
#include "reports/StringCodes.h"

#include <algorithm>
#include <utility>

namespace {

constexpr const wchar_t* kSendFunction = L"CZelProcessorClient::SendMessageToServer";

} // namespace

void CClientState::Init(const CString& requestDirectory, const CString& outputDirectory, CString clientDirectory)
{
    m_paths = SProtocolPaths::Of(requestDirectory, outputDirectory);
    m_strClientDir = std::move(clientDirectory);
}

void CClientState::SetSyncing(bool syncing)
{
    m_bSyncing = syncing;
}

void CClientState::SetAllowReading(bool allow)
{
    m_bAllowReading = allow;
}

void CClientState::SetGoOn(std::function<bool()> goOn)
{
    m_goOn = std::move(goOn);
}

void CClientState::SetCommandTimeout(std::chrono::milliseconds timeout)
{
    m_commandTimeout = timeout;
}

void CClientState::SetCheckedWatch(bool checked, std::chrono::milliseconds poll)
{
    m_watchOptions = {checked, poll};
}

eZelProcRequestStatus CClientState::SendRequest(const CString& requestPath)
{
    return SendMessageToServer(requestPath);
}

eZelProcRequestStatus CClientState::SendMessageToServer(const CString& messagePath)
{
    if (!platform::PathExists(messagePath)) {
        WQ_ReportErrorNow(SourceNames::kZelProcessorClient, ReportLines::kMessageMissing, kSendFunction,
                          L"Message file does not exist!");
        Explain(messagePath, platform::eOsError_FileNotFound);
        return eRequestStatus_ClientError;
    }
    if (m_bAllowReading) // what can't be changed the server's status tells
        static_cast<void>(platform::Files().AllowReading(messagePath, m_paths.m_strRequestDir));
    const CString target = m_paths.InRequestDir(messagePath);
    const platform::eOsError moved = Protocol::MoveWhenFree(messagePath, target, MoveFlags(), m_goOn);
    if (platform::HasMoved(moved))
        return eRequestStatus_Sent;
    const CWQ_SetResource resource(kResourceModule);
    Explain(FormatText(TextOf(StringCodes::kCannotBeMoved), {messagePath, target, platform::OsErrorText(moved)}));
    WQ_ReportErrorNow(SourceNames::kZelProcessorClient, ReportLines::kMessageNotMoved, kSendFunction,
                      L"MoveFileWhenFree failed!");
    return eRequestStatus_ClientError;
}

void CClientState::Explain(CString why) const
{
    std::ranges::replace(why, L'\n', L' ');
    const platform::CMutexLock lock(m_csLastError);
    m_strLastError = std::move(why);
}

void CClientState::Explain(const CString& path, platform::eOsError error) const
{
    Explain(path + L": " + platform::OsErrorText(error));
}

CString CClientState::LastErrorText() const
{
    const platform::CMutexLock lock(m_csLastError);
    return m_strLastError;
}

void CClientState::Report(long line, const wchar_t* function, const CString& text, const CString& path) const
{
    Explain(path.empty() ? text : path + L": " + text);
    WQ_ReportErrorNow(SourceNames::kZelProcessorClient, line, function, text);
}

bool CClientState::Fail(long line, const wchar_t* function, const CString& text, const CString& path) const
{
    Report(line, function, text, path);
    return false;
}

bool CClientState::Fail(long line, const wchar_t* function, const CString& text, const CString& path,
                        platform::eOsError error) const
{
    Report(line, function, text);
    Explain(path, error);
    return false;
}

unsigned CClientState::MoveFlags() const
{
    return Protocol::MoveFlags(m_bSyncing, true);
}
