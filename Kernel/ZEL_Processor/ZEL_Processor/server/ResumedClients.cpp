#include "ResumedClients.h"
#include "ClientRegistry.h"
#include "ServerSettings.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include <algorithm>
#include <utility>

namespace {

constexpr std::size_t kGuidLength = 38;

bool IdOf(const CString& name, GUID& clientId)
{
    const std::size_t at = name.find(L'{');
    if (at == 0 || at == CString::npos || name[at - 1] != L'_')
        return false;
    const CString rest = name.substr(at);
    return GuidFromText(rest.substr(0, kGuidLength), clientId) &&
           (rest.size() == kGuidLength || platform::EqualsNoCase(rest.substr(kGuidLength), Protocol::kLockExtension));
}

} // namespace

bool CResumedClients::Take(const CString& name)
{
    GUID clientId{};
    if (!IdOf(name, clientId))
        return false;
    m_files[clientId].push_back(name);
    return true;
}

/// The events file is what a registration ends with, and it is made before that of the groups: with one of them alone
/// the client has left, or was never told its id.
bool CResumedClients::IsRegistered(const GUID& clientId) const
{
    return platform::PathExists(m_settings.m_paths.DsEvents(clientId)) &&
           platform::PathExists(m_settings.m_paths.InsertableItems(clientId));
}

platform::eOsError CResumedClients::Register(CClientRegistry& registry, std::size_t& clients) const
{
    CClientRecords::Records records;
    if (const platform::eOsError error = m_records.ReadAll(records); !platform::Succeeded(error))
        return error;
    std::vector<std::pair<platform::FileTimeNs, GUID>> registered;
    for (const auto& [clientId, names] : m_files) {
        platform::SFileAttributes attributes;
        if (IsRegistered(clientId)) {
            static_cast<void>(
                platform::Files().GetAttributes(m_settings.m_paths.DsEvents(clientId), attributes)); // else the oldest
            registered.emplace_back(attributes.times.created, clientId);
            continue;
        }
        for (const CString& name : names)
            static_cast<void>(platform::Files().Remove(m_settings.m_paths.Output(name)));
    }
    std::ranges::stable_sort(registered, {}, &std::pair<platform::FileTimeNs, GUID>::first);
    for (const auto& [created, clientId] : registered)
        registry.Add(clientId, records[clientId].owner, records[clientId].isSeen);
    for (const auto& [clientId, record] : records) {
        if (!registry.Contains(clientId))
            m_records.Remove(clientId);
    }
    clients = registered.size();
    return platform::eOsError_None;
}

bool CResumedClients::IsAnswer(const CClientRegistry& registry, const CString& name) const
{
    std::string bytes;
    GUID clientId{};
    return platform::Succeeded(platform::ReadWholeFile(m_settings.m_paths.Output(name), platform::eOpenMode_ReadShared,
                                                       bytes, kGuidLength)) &&
           GuidFromText(platform::FromUtf8(bytes), clientId) && registry.Contains(clientId);
}
