#include "ClientRecords.h"
#include "RecordFolder.h"
#include "ServerSettings.h"

namespace {

/// Behind the owner, who is a word.
constexpr const char* kSeen = "\nseen";

} // namespace

void CClientRecords::Write(const GUID& clientId, const SRecord& record) const
{
    // Without it the client counts as the server's own, and as never seen. Its registration is worth more than that.
    if (m_settings.m_options.resume && (record.isSeen || !record.owner.empty()))
        static_cast<void>(Folder().Write(GuidToText(clientId), record.isSeen ? record.owner + kSeen : record.owner));
}

void CClientRecords::Remove(const GUID& clientId) const
{
    if (m_settings.m_options.resume)
        Folder().Remove(GuidToText(clientId));
}

platform::eOsError CClientRecords::ReadAll(Records& records) const
{
    return Folder().Visit([&](const CString& name, const std::string& bytes) {
        if (GUID clientId{}; GuidFromText(name, clientId))
            records[clientId] = {bytes.substr(0, bytes.find('\n')), bytes.ends_with(kSeen)};
    });
}

CRecordFolder CClientRecords::Folder() const
{
    return {m_settings.m_paths.InOwnFolder(L"clients"), m_settings.m_options.syncing};
}
