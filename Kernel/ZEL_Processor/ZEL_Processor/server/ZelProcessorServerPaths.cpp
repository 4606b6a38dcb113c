#include "ServerState.h"
#include "com/Guid.h"
#include "platform/Path.h"
#include "protocol/ProtocolFiles.h"

namespace {

CString PerClientPath(const CString& outputDir, const wchar_t* prefix, const GUID& clientId)
{
    if (IsEqualGUID(clientId, GUID{}))
        return {};
    return platform::JoinPath(outputDir, prefix + GuidToText(clientId));
}

} // namespace

CString CServerState::GetFileInQueueFullPath(const CString& path) const
{
    return platform::JoinPath(m_strQueueDir, platform::FileNameOf(path));
}

CString CServerState::GetFileInRequestDirFullPath(const CString& path) const
{
    return platform::JoinPath(m_strRequestDir, platform::FileNameOf(path));
}

CString CServerState::GetDsEventsFileFullPath(const GUID& clientId) const
{
    return PerClientPath(m_strOutputDir, Protocol::kDsEventsPrefix, clientId);
}

CString CServerState::GetInsertableItemsChangeFile(const GUID& clientId) const
{
    return PerClientPath(m_strOutputDir, Protocol::kInsertableItemsPrefix, clientId);
}

CString CServerState::GetLockResultsChangeFile(const GUID& clientId) const
{
    return PerClientPath(m_strOutputDir, Protocol::kLockResultsPrefix, clientId);
}
