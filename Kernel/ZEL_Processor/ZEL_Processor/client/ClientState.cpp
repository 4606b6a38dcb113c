#include "ClientState.h"

#include "com/Com.h"
#include "com/ComError.h"
#include "com/Guid.h"
#include "framework/Services.h"
#include "framework/WorkerThread.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "protocol/ProtocolFiles.h"
#include "reports/SourceNames.h"

#include <mutex>
#include <utility>

namespace {

// Identify the reports of this source.
constexpr long kLineMessageMissing = 193;
constexpr long kLineMoveFailed = 200;

constexpr const wchar_t* kSendFunction = L"CZelProcessorClient::SendMessageToServer";

} // namespace

CClientState::CClientState()
    : m_evLooked(std::make_unique<platform::CManualResetEvent>()),
      m_evStarted(std::make_unique<platform::CManualResetEvent>())
{}

void CClientState::Init(CString requestDirectory, CString outputDirectory, CString clientDirectory)
{
    m_strRequestDir = std::move(requestDirectory);
    m_strOutputDir = std::move(outputDirectory);
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

eZelProcRequestStatus CClientState::SendRequest(const CString& requestPath)
{
    return SendMessageToServer(requestPath);
}

eZelProcRequestStatus CClientState::SendMessageToServer(const CString& messagePath)
{
    if (!platform::PathExists(messagePath)) {
        WQ_ReportErrorNow(SourceNames::kZelProcessorClient, kLineMessageMissing, kSendFunction,
                          L"Message file does not exist!");
        return eRequestStatus_ClientError;
    }
    if (m_bAllowReading) // what can't be changed the server's status tells
        static_cast<void>(platform::Files().AllowReading(messagePath, m_strRequestDir));
    if (Protocol::MoveFileWhenFree(messagePath, GetFileInRequestDirFullPath(messagePath), MoveFlags(), m_goOn))
        return eRequestStatus_Sent;
    WQ_ReportErrorNow(SourceNames::kZelProcessorClient, kLineMoveFailed, kSendFunction, L"MoveFileWhenFree failed!");
    return eRequestStatus_ClientError;
}

CString CZelProcessorClient::GetUniqueString()
{
    static std::mutex guard;
    static GUID guid = {};
    static std::uint16_t counter = 0;

    const std::lock_guard lock(guard);
    if (counter == 0)
        ThrowIfFailed(CoCreateGuid(&guid)); // without one the names would be those of other processes
    ++counter;
    return FormatText(L"%s_%d", {GuidToText(guid), std::to_wstring(counter)});
}

CString CClientState::GetFileInRequestDirFullPath(const CString& path) const
{
    return platform::JoinPath(m_strRequestDir, platform::FileNameOf(path));
}

CString CClientState::GetFileInQueueFullPath(const CString& path) const
{
    return platform::JoinPath(platform::JoinPath(m_strOutputDir, Protocol::kQueueDirectory),
                              platform::FileNameOf(path));
}

CString CClientState::GetOutputFilePath(const CString& path) const
{
    return platform::JoinPath(m_strOutputDir, platform::FileNameOf(path));
}

CString CClientState::GetStatusFilePath(const CString& path) const
{
    return GetOutputFilePath(path) + Protocol::kStatusExtension;
}

unsigned CClientState::MoveFlags() const
{
    return platform::eMoveFlag_ReplaceExisting |
           (m_bSyncing ? platform::eMoveFlag_WriteThrough : platform::eMoveFlag_None);
}
