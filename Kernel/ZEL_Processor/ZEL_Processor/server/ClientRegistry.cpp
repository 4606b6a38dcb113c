#include "ClientRegistry.h"
#include "ClientRecords.h"
#include "ServerFigures.h"

#include "com/Guid.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "protocol/RegistrationAnswer.h"
#include "reports/ReportLines.h"
#include "reports/SourceNames.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <iterator>

namespace {

constexpr const wchar_t* kRegisterFunction = L"CZelProcessorServer::RegisterNewClient";
/// Enough for a client that is just closing its file.
constexpr std::chrono::milliseconds kRemoveAtOnce{50};
/// Shorter than the longest turn of the listener: one that comes early must not put the look off to the one after.
constexpr std::chrono::milliseconds kBetweenLooks{500};

bool CheckExists(const CString& path, long line, const wchar_t* text)
{
    if (platform::PathExists(path))
        return true;
    WQ_ReportErrorNow(SourceNames::kZelProcessorServer, line, kRegisterFunction, text + path);
    return false;
}

void Tell(Brel::Log::eLogLevel level, const GUID& clientId, const wchar_t* what)
{
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), level, ZEL_SOURCE_LOCATION,
                     L"The client " + GuidToText(clientId) + what);
}

} // namespace

CClientRegistry::CClientRegistry(const SProtocolPaths& paths, const std::atomic<bool>& isRunning)
    : m_paths(paths), m_isRunning(isRunning)
{}

bool CClientRegistry::Register(const CString& answerPath, const std::string& owner, const CPatience& patience)
{
    GUID clientId{};
    if (FAILED(CoCreateGuid(&clientId)) || !MakeFiles(clientId, patience))
        return false;
    if (m_pRecords)
        m_pRecords->Write(clientId, {owner});
    // In the list before the answer: whoever knows its id already gets what happens from then on.
    Add(clientId, owner);
    if (IsMade(RegistrationAnswer::Write(answerPath, clientId, patience()), answerPath, ReportLines::kCantCreateAnswer,
               L" !outputFile.Open")) {
        if (m_bTold)
            Tell(Brel::Log::eLogLevel_Info, clientId, L" is registered");
        return true;
    }
    UnregisterClient(clientId);
    return false;
}

bool CClientRegistry::MakeFiles(const GUID& clientId, const CPatience& patience) const
{
    const CString dsEvents = m_paths.DsEvents(clientId);
    const CString items = m_paths.InsertableItems(clientId);
    const auto make = [&](const CString& path, long line, const wchar_t* what) {
        return IsMade(Protocol::RetryWhileShared([&] { return platform::WriteWholeFile(path, {}); }, patience()), path,
                      line, what);
    };
    return make(dsEvents, ReportLines::kCantCreateDsEvents, L" !dsEventsFile.Open") &&
           CheckExists(dsEvents, ReportLines::kNoDsEvents, L"!CFileTools::FileExists(csDsEventsFile)\n   ") &&
           make(items, ReportLines::kCantCreateItems, L" !dsInsItemsFile.Open") &&
           CheckExists(items, ReportLines::kNoItems, L"!CFileTools::FileExists(csInsertableItemsChangeFile)\n   ");
}

/// Reports a failure under what could not be opened. A stop that ends the wait for whoever has the file open is no
/// failure to tell of.
bool CClientRegistry::IsMade(platform::eOsError error, const CString& path, long line, const wchar_t* what) const
{
    if (!platform::Succeeded(error) && m_isRunning)
        WQ_ReportErrorNow(SourceNames::kZelProcessorServer, line, CString(kRegisterFunction) + what,
                          platform::OsErrorText(error) + L"\n   " + path);
    return platform::Succeeded(error);
}

bool CClientRegistry::UnregisterClient(const GUID& clientId)
{
    // A notification that is under way cannot undo this: after its own write it looks into the list again.
    if (!RemoveWithRecord(clientId))
        return false;
    if (m_bTold)
        Tell(Brel::Log::eLogLevel_Info, clientId, L" is registered no longer");
    return RemoveEventsFile(clientId);
}

bool CClientRegistry::RemoveWithRecord(const GUID& clientId)
{
    const bool isRemoved = Remove(clientId);
    if (isRemoved && m_pRecords)
        m_pRecords->Remove(clientId);
    return isRemoved;
}

bool CClientRegistry::RemoveEventsFile(const GUID& clientId)
{
    const CString path = m_paths.DsEvents(clientId);
    const std::chrono::nanoseconds end = platform::Clock().Steady() + kRemoveAtOnce;
    const platform::eOsError error =
        Protocol::RemoveWhenFree(path, [&] { return m_isRunning && platform::Clock().Steady() < end; });
    if (error != platform::eOsError_SharingViolation)
        return platform::Succeeded(error);
    Leave(path);
    return true;
}

void CClientRegistry::Leave(const CString& path)
{
    const platform::CMutexLock lock(m_csClients);
    m_leftFiles.push_back(path);
}

void CClientRegistry::RemoveFiles(const GUID& clientId)
{
    for (const CString& path :
         {m_paths.DsEvents(clientId), m_paths.InsertableItems(clientId), m_paths.LockResults(clientId)}) {
        for (const CString& left : {path, path + Protocol::kLockExtension}) {
            if (platform::Files().Remove(left) == platform::eOsError_SharingViolation)
                Leave(left);
        }
    }
}

void CClientRegistry::RemoveLeftFiles()
{
    std::vector<CString> left;
    {
        const platform::CMutexLock lock(m_csClients);
        left.swap(m_leftFiles);
    }
    std::erase_if(left, [](const CString& path) {
        return platform::Files().Remove(path) != platform::eOsError_SharingViolation;
    });
    const platform::CMutexLock lock(m_csClients);
    m_leftFiles.insert(m_leftFiles.end(), left.begin(), left.end());
}

void CClientRegistry::UnregisterDead()
{
    const std::chrono::nanoseconds now = platform::Clock().Steady();
    // A clock that was set back, as tests do, must not end the looks.
    if (now >= m_lastLook && now - m_lastLook < kBetweenLooks)
        return;
    m_lastLook = now;
    for (const GUID& client : All()) {
        if (!IsDead(client) || !RemoveWithRecord(client))
            continue;
        RemoveFiles(client);
        Tell(Brel::Log::eLogLevel_Info, client, L" has died: its registration has ended");
    }
}

/// A file that somebody holds shows that the client keeps one. One that is there and not held tells nothing: it is made
/// before it is locked, and whoever may create names can put one there. What else keeps it from being removed tells
/// nothing either.
bool CClientRegistry::IsDead(const GUID& clientId)
{
    const CString path = m_paths.Presence(clientId);
    if (IsSeen(clientId)) {
        const platform::eOsError error = platform::Files().Remove(path);
        return platform::Succeeded(error) || error == platform::eOsError_FileNotFound;
    }
    std::unique_ptr<platform::IFile> file;
    if (platform::Files().Open(path, platform::eOpenMode_ReadExclusive, file) == platform::eOsError_SharingViolation) {
        SetSeen(clientId);
        Tell(Brel::Log::eLogLevel_Debug, clientId, L" keeps a file of its presence");
    }
    return false;
}

void CClientRegistry::SetSeen(const GUID& clientId)
{
    {
        const platform::CMutexLock lock(m_csClients);
        const auto found = m_clients.find(clientId);
        if (found == m_clients.end())
            return;
        found->second.isSeen = true;
    }
    if (m_pRecords)
        m_pRecords->Write(clientId, {OwnerOf(clientId), true});
}

bool CClientRegistry::IsSeen(const GUID& clientId) const
{
    const platform::CMutexLock lock(m_csClients);
    const auto found = m_clients.find(clientId);
    return found != m_clients.end() && found->second.isSeen;
}

void CClientRegistry::Add(const GUID& clientId, const std::string& owner, bool isSeen)
{
    const platform::CMutexLock lock(m_csClients);
    m_clients[clientId] = {m_nextClient++, owner, isSeen, platform::Clock().Steady()};
    ++m_clientsOfOwner[owner];
    if (m_pFigures)
        m_pFigures->Change();
}

bool CClientRegistry::Remove(const GUID& clientId)
{
    const platform::CMutexLock lock(m_csClients);
    const auto found = m_clients.find(clientId);
    if (found == m_clients.end())
        return false;
    if (const auto count = m_clientsOfOwner.find(found->second.owner); --count->second == 0)
        m_clientsOfOwner.erase(count);
    m_clients.erase(found);
    if (m_pFigures)
        m_pFigures->Change();
    return true;
}

void CClientRegistry::Clear()
{
    const platform::CMutexLock lock(m_csClients);
    m_clients.clear();
    m_clientsOfOwner.clear();
    m_leftFiles.clear();
}

std::vector<GUID> CClientRegistry::All() const
{
    std::vector<std::pair<std::uint64_t, GUID>> numbered;
    if (m_isRunning) {
        const platform::CMutexLock lock(m_csClients);
        for (const auto& [clientId, client] : m_clients)
            numbered.emplace_back(client.number, clientId);
    }
    std::ranges::sort(numbered, {}, &std::pair<std::uint64_t, GUID>::first);
    std::vector<GUID> clients;
    std::ranges::transform(numbered, std::back_inserter(clients), &std::pair<std::uint64_t, GUID>::second);
    return clients;
}

std::size_t CClientRegistry::First(std::size_t most,
                                   std::vector<std::pair<GUID, std::chrono::nanoseconds>>& clients) const
{
    const platform::CMutexLock lock(m_csClients);
    std::vector<std::pair<std::uint64_t, GUID>> numbered;
    numbered.reserve(m_clients.size());
    for (const auto& [clientId, client] : m_clients)
        numbered.emplace_back(client.number, clientId);
    const auto middle = numbered.begin() + static_cast<std::ptrdiff_t>(std::min(most, numbered.size()));
    std::ranges::partial_sort(numbered, middle, {}, &std::pair<std::uint64_t, GUID>::first);
    for (auto entry = numbered.begin(); entry != middle; ++entry)
        clients.emplace_back(entry->second, m_clients.at(entry->second).since);
    return numbered.size();
}

bool CClientRegistry::Contains(const GUID& clientId) const
{
    const platform::CMutexLock lock(m_csClients);
    return m_clients.contains(clientId);
}

std::string CClientRegistry::OwnerOf(const GUID& clientId) const
{
    const platform::CMutexLock lock(m_csClients);
    const auto found = m_clients.find(clientId);
    return found != m_clients.end() ? found->second.owner : std::string();
}

std::size_t CClientRegistry::CountOf(const std::string& owner) const
{
    const platform::CMutexLock lock(m_csClients);
    const auto found = m_clientsOfOwner.find(owner);
    return found != m_clientsOfOwner.end() ? found->second : 0;
}
