#include "ProtocolPaths.h"

#include "com/Guid.h"
#include "platform/FileSystem.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include <string_view>

namespace {

CString PerClient(const CString& outputDir, const wchar_t* prefix, const GUID& clientId)
{
    if (IsEqualGUID(clientId, GUID{}))
        return {};
    return platform::JoinPath(outputDir, prefix + GuidToText(clientId));
}

} // namespace

Protocol::eFileKind Protocol::GetFileKind(const CString& name)
{
    const CString extension = platform::ExtensionOf(name);
    if (platform::EqualsNoCase(extension, kCommandExtension))
        return eFileKind_Command;
    if (platform::EqualsNoCase(extension, kRequestExtension) || platform::EqualsNoCase(extension, kXmlRequestExtension))
        return eFileKind_Request;
    return eFileKind_Other;
}

bool Protocol::IsNameOfTheServers(const CString& name)
{
    const CString extension = platform::ExtensionOf(name);
    const auto isExtension = [&](const wchar_t* other) { return platform::EqualsNoCase(extension, other); };
    const auto isPrefix = [&](std::wstring_view prefix) {
        return platform::EqualsNoCase(name.substr(0, prefix.size()), CString(prefix));
    };
    return GetFileKind(name) != eFileKind_Other || isExtension(kStatusExtension) || isExtension(kLockExtension) ||
           isPrefix(kDsEventsPrefix) || isPrefix(kInsertableItemsPrefix) || isPrefix(kLockResultsPrefix);
}

unsigned Protocol::MoveFlags(bool isSynced, bool isReplacing)
{
    return (isSynced ? platform::eMoveFlag_WriteThrough : platform::eMoveFlag_None) |
           (isReplacing ? platform::eMoveFlag_ReplaceExisting : platform::eMoveFlag_None);
}

SProtocolPaths SProtocolPaths::Of(const CString& requestDir, const CString& outputDir)
{
    return {requestDir, outputDir, QueueDirOf(outputDir)};
}

CString SProtocolPaths::QueueDirOf(const CString& outputDir)
{
    return platform::JoinPath(outputDir, Protocol::kQueueDirectory);
}

CString SProtocolPaths::StatusOf(const CString& outputPath)
{
    return outputPath + Protocol::kStatusExtension;
}

CString SProtocolPaths::InRequestDir(const CString& path) const
{
    return platform::JoinPath(m_strRequestDir, platform::FileNameOf(path));
}

CString SProtocolPaths::InQueue(const CString& path) const
{
    return platform::JoinPath(m_strQueueDir, platform::FileNameOf(path));
}

CString SProtocolPaths::Output(const CString& path) const
{
    return platform::JoinPath(m_strOutputDir, platform::FileNameOf(path));
}

CString SProtocolPaths::Status(const CString& path) const
{
    return StatusOf(Output(path));
}

CString SProtocolPaths::InOwnFolder(const CString& name) const
{
    const CString folder = platform::JoinPath(m_strOutputDir, Protocol::kServerDirectory);
    return name.empty() ? folder : platform::JoinPath(folder, name);
}

CString SProtocolPaths::DsEvents(const GUID& clientId) const
{
    return PerClient(m_strOutputDir, Protocol::kDsEventsPrefix, clientId);
}

CString SProtocolPaths::InsertableItems(const GUID& clientId) const
{
    return PerClient(m_strOutputDir, Protocol::kInsertableItemsPrefix, clientId);
}

CString SProtocolPaths::LockResults(const GUID& clientId) const
{
    return PerClient(m_strOutputDir, Protocol::kLockResultsPrefix, clientId);
}

CString SProtocolPaths::Presence(const GUID& clientId) const
{
    const CString path = PerClient(m_strOutputDir, Protocol::kPresencePrefix, clientId);
    return path.empty() ? path : path + Protocol::kLockExtension;
}
