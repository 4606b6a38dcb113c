#include "ProtocolFiles.h"
#include "SourceNames.h"
#include "ZEL_Processor/ZelProcessor.h"
#include "ZEL_Processor/ZelProcessorServer.h"
#include "com/Guid.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include <algorithm>
#include <chrono>

namespace {

constexpr const wchar_t* kRegisterFunction = L"CZelProcessorServer::RegisterNewClient";
// Identify the reports of a registration.
constexpr long kLineCantCreateDsEvents = 823;
constexpr long kLineNoDsEvents = 831;
constexpr long kLineCantCreateItems = 843;
constexpr long kLineNoItems = 851;
constexpr long kLineCantCreateAnswer = 863;
/// Enough for a client that is just closing its file.
constexpr std::chrono::milliseconds kRemoveAtOnce{50};

/// Creates a file with this content; reports a failure under what could not be opened. A stop that ends the wait for
/// whoever has the file open is no failure to tell of.
bool CreateWithContent(const CString& path, const std::string& content, const std::atomic<bool>& goOn, long line,
                       const wchar_t* what)
{
    const platform::eOsError error =
        Protocol::RetryWhileShared([&] { return platform::WriteWholeFile(path, content); }, &goOn);
    if (!platform::Succeeded(error) && goOn)
        WQ_ReportErrorNow(SourceNames::kZelProcessorServer, line, CString(kRegisterFunction) + what,
                          platform::OsErrorText(error) + L"\n   " + path);
    return platform::Succeeded(error);
}

bool CheckExists(const CString& path, long line, const wchar_t* text)
{
    if (platform::PathExists(path))
        return true;
    WQ_ReportErrorNow(SourceNames::kZelProcessorServer, line, kRegisterFunction, text + path);
    return false;
}

} // namespace

bool CZelProcessorServer::RegisterNewClient(const CString& requestId)
{
    if (!platform::IsPlainFileName(requestId))
        return false;
    GUID clientId{};
    if (FAILED(CoCreateGuid(&clientId)))
        return false;
    const CString dsEvents = GetDsEventsFileFullPath(clientId);
    const CString items = GetInsertableItemsChangeFile(clientId);
    if (!CreateWithContent(dsEvents, {}, m_bRunning, kLineCantCreateDsEvents, L" !dsEventsFile.Open") ||
        !CheckExists(dsEvents, kLineNoDsEvents, L"!CFileTools::FileExists(csDsEventsFile)\n   ") ||
        !CreateWithContent(items, {}, m_bRunning, kLineCantCreateItems, L" !dsInsItemsFile.Open") ||
        !CheckExists(items, kLineNoItems, L"!CFileTools::FileExists(csInsertableItemsChangeFile)\n   "))
        return false;
    // In the list before the answer: whoever knows its id already gets what happens from then on.
    AddClient(clientId);
    if (CreateWithContent(m_pProcessor->GetOutputFilePath(requestId), platform::ToUtf8(GuidToText(clientId)),
                          m_bRunning, kLineCantCreateAnswer, L" !outputFile.Open"))
        return true;
    UnregisterClient(clientId);
    return false;
}

bool CZelProcessorServer::UnregisterClient(const GUID& clientId)
{
    if (!RemoveClient(clientId))
        return false;
    // A notification that is under way cannot undo this: after its own write it looks into the list again.
    return RemoveEventsFile(GetDsEventsFileFullPath(clientId));
}

/// False when it can't be removed. Whoever holds the file is waited for without end, but not here: the listener, which
/// serves all others, tries again from time to time.
bool CZelProcessorServer::RemoveEventsFile(const CString& path)
{
    const std::chrono::nanoseconds end = platform::Clock().Steady() + kRemoveAtOnce;
    const platform::eOsError error =
        Protocol::RetryWhileShared([&] { return platform::Files().Remove(path); },
                                   [&] { return m_bRunning && platform::Clock().Steady() < end; });
    if (error != platform::eOsError_SharingViolation)
        return platform::Succeeded(error);
    const std::lock_guard lock(m_csClients);
    m_leftEventsFiles.push_back(path);
    return true;
}

void CZelProcessorServer::RemoveLeftEventsFiles()
{
    std::vector<CString> left;
    {
        const std::lock_guard lock(m_csClients);
        left.swap(m_leftEventsFiles);
    }
    std::erase_if(left, [](const CString& path) {
        return platform::Files().Remove(path) != platform::eOsError_SharingViolation;
    });
    const std::lock_guard lock(m_csClients);
    m_leftEventsFiles.insert(m_leftEventsFiles.end(), left.begin(), left.end());
}

void CZelProcessorServer::AddClient(const GUID& clientId)
{
    const std::lock_guard lock(m_csClients);
    m_clients.push_back(clientId);
}

bool CZelProcessorServer::RemoveClient(const GUID& clientId)
{
    const std::lock_guard lock(m_csClients);
    return std::erase(m_clients, clientId) != 0;
}

/// In the order of registration. None once the server stops: registrations end with it.
std::vector<GUID> CZelProcessorServer::RegisteredClients() const
{
    const std::lock_guard lock(m_csClients);
    return m_bRunning ? m_clients : std::vector<GUID>();
}

bool CZelProcessorServer::IsRegistered(const GUID& clientId) const
{
    const std::lock_guard lock(m_csClients);
    return std::find(m_clients.begin(), m_clients.end(), clientId) != m_clients.end();
}
