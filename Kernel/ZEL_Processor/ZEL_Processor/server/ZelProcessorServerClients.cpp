#include "ServerState.h"
#include "ZEL_Processor/ZelProcessor.h"
#include "com/Guid.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "protocol/ProtocolFiles.h"
#include "reports/SourceNames.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <span>
#include <string_view>

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

/// Names that the server gives to files of the output directory, or may: by one of these an answer would keep a
/// response, a status or a client's events from their place.
bool IsNameOfTheServers(const CString& name)
{
    const CString extension = platform::ExtensionOf(name);
    const auto isExtension = [&](const wchar_t* other) { return platform::EqualsNoCase(extension, other); };
    const auto isPrefix = [&](std::wstring_view prefix) {
        return platform::EqualsNoCase(name.substr(0, prefix.size()), CString(prefix));
    };
    return Protocol::GetFileKind(name) != Protocol::eFileKind_Other || isExtension(Protocol::kStatusExtension) ||
           isExtension(Protocol::kLockExtension) || isPrefix(Protocol::kDsEventsPrefix) ||
           isPrefix(Protocol::kInsertableItemsPrefix) || isPrefix(Protocol::kLockResultsPrefix);
}

platform::eOsError WriteAs(const CString& path, platform::eOpenMode mode, const std::string& content)
{
    std::unique_ptr<platform::IFile> file;
    if (const platform::eOsError error = platform::Files().Open(path, mode, file); !platform::Succeeded(error))
        return error;
    const platform::eOsError written = file->Write(std::as_bytes(std::span(content)));
    const platform::eOsError closed = file->Close();
    return platform::Succeeded(written) ? closed : written;
}

/// Creates a file with this content; reports a failure under what could not be opened. A stop that ends the wait for
/// whoever has the file open is no failure to tell of.
bool CreateWithContent(const CString& path, platform::eOpenMode mode, const std::string& content,
                       const Protocol::GoOn& patience, const std::atomic<bool>& isRunning, long line,
                       const wchar_t* what)
{
    const platform::eOsError error = Protocol::RetryWhileShared([&] { return WriteAs(path, mode, content); }, patience);
    if (!platform::Succeeded(error) && isRunning)
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

bool CServerState::RegisterNewClient(const CString& requestId, const std::string& owner)
{
    if (!platform::IsPlainFileName(requestId))
        return false;
    const CString answer = m_pProcessor->GetOutputFilePath(requestId);
    if (IsNameOfTheServers(requestId) || IsKnown(requestId)) {
        TellRefusal(answer + L": the answer to a registration cannot have this name");
        return false;
    }
    GUID clientId{};
    if (FAILED(CoCreateGuid(&clientId)))
        return false;
    const CString dsEvents = GetDsEventsFileFullPath(clientId);
    const CString items = GetInsertableItemsChangeFile(clientId);
    const auto create = [&](const CString& path, long line, const wchar_t* what) {
        return CreateWithContent(path, platform::eOpenMode_WriteExclusive, {}, Patience(), m_bRunning, line, what);
    };
    if (!create(dsEvents, kLineCantCreateDsEvents, L" !dsEventsFile.Open") ||
        !CheckExists(dsEvents, kLineNoDsEvents, L"!CFileTools::FileExists(csDsEventsFile)\n   ") ||
        !create(items, kLineCantCreateItems, L" !dsInsItemsFile.Open") ||
        !CheckExists(items, kLineNoItems, L"!CFileTools::FileExists(csInsertableItemsChangeFile)\n   "))
        return false;
    // In the list before the answer: whoever knows its id already gets what happens from then on.
    AddClient(clientId, owner);
    // Made anew, whatever its name: what lies there already is somebody else's.
    if (CreateWithContent(answer, platform::eOpenMode_CreateExclusive, platform::ToUtf8(GuidToText(clientId)),
                          Patience(), m_bRunning, kLineCantCreateAnswer, L" !outputFile.Open"))
        return true;
    UnregisterClient(clientId);
    return false;
}

bool CServerState::UnregisterClient(const GUID& clientId)
{
    if (!RemoveClient(clientId))
        return false;
    // A notification that is under way cannot undo this: after its own write it looks into the list again.
    return RemoveEventsFile(GetDsEventsFileFullPath(clientId));
}

/// False when it can't be removed. Whoever holds the file is waited for without end, but not here: the listener, which
/// serves all others, tries again from time to time.
bool CServerState::RemoveEventsFile(const CString& path)
{
    const std::chrono::nanoseconds end = platform::Clock().Steady() + kRemoveAtOnce;
    const platform::eOsError error = Protocol::RetryWhileShared(
        [&] { return platform::Files().Remove(path); }, [&] { return m_bRunning && platform::Clock().Steady() < end; });
    if (error != platform::eOsError_SharingViolation)
        return platform::Succeeded(error);
    const std::lock_guard lock(m_csClients);
    m_leftEventsFiles.push_back(path);
    return true;
}

void CServerState::RemoveLeftEventsFiles()
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

bool CServerState::IsFullOfClients(const std::string& owner) const
{
    const std::lock_guard lock(m_csClients);
    const auto found = m_clientsOfOwner.find(owner);
    return m_options.maxClients != 0 && found != m_clientsOfOwner.end() && found->second >= m_options.maxClients;
}

void CServerState::AddClient(const GUID& clientId, const std::string& owner)
{
    const std::lock_guard lock(m_csClients);
    m_clients[clientId] = {m_nextClient++, owner};
    ++m_clientsOfOwner[owner];
}

bool CServerState::RemoveClient(const GUID& clientId)
{
    const std::lock_guard lock(m_csClients);
    const auto found = m_clients.find(clientId);
    if (found == m_clients.end())
        return false;
    if (const auto count = m_clientsOfOwner.find(found->second.owner); --count->second == 0)
        m_clientsOfOwner.erase(count);
    m_clients.erase(found);
    return true;
}

/// In the order of registration. None once the server stops: registrations end with it.
std::vector<GUID> CServerState::RegisteredClients() const
{
    std::vector<std::pair<std::uint64_t, GUID>> numbered;
    if (m_bRunning) {
        const std::lock_guard lock(m_csClients);
        for (const auto& [clientId, client] : m_clients)
            numbered.emplace_back(client.number, clientId);
    }
    std::ranges::sort(numbered, {}, &std::pair<std::uint64_t, GUID>::first);
    std::vector<GUID> clients;
    std::ranges::transform(numbered, std::back_inserter(clients), &std::pair<std::uint64_t, GUID>::second);
    return clients;
}

bool CServerState::IsRegistered(const GUID& clientId) const
{
    const std::lock_guard lock(m_csClients);
    return m_clients.contains(clientId);
}

std::string CServerState::OwnerOfClient(const GUID& clientId) const
{
    const std::lock_guard lock(m_csClients);
    const auto found = m_clients.find(clientId);
    return found != m_clients.end() ? found->second.owner : std::string();
}
