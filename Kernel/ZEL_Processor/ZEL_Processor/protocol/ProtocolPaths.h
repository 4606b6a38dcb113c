#pragma once

#include "ZEL_Processor/ZelProtocolNames.h"
#include "ZEL_Processor/ZelTypes.h"
#include "com/Com.h"

/// The names of the file protocol, and where the files that have them lie. For both sides.
namespace Protocol {

using namespace ZelProtocol;

/// The meaning of a file in the request directory, by its extension in any letter case.
enum eFileKind { eFileKind_Other, eFileKind_Request, eFileKind_Command };
[[nodiscard]] eFileKind GetFileKind(const CString& name);

/// Names that the server gives to files of the output directory, or may: by one of these an answer to a registration
/// would keep a response, a status or a client's events from their place.
[[nodiscard]] bool IsNameOfTheServers(const CString& name);

/// Flags of platform::eMoveFlag for a hand-over. One that does not replace fails where a file of the name lies.
[[nodiscard]] unsigned MoveFlags(bool isSynced, bool isReplacing);

} // namespace Protocol

/// The directories of a server. Of a path that is given to an operation only the file name counts.
struct SProtocolPaths {
    /// With the queue where a server makes it.
    [[nodiscard]] static SProtocolPaths Of(const CString& requestDir, const CString& outputDir);
    [[nodiscard]] static CString QueueDirOf(const CString& outputDir);
    [[nodiscard]] static CString StatusOf(const CString& outputPath);

    [[nodiscard]] CString InRequestDir(const CString& path) const;
    [[nodiscard]] CString InQueue(const CString& path) const;
    [[nodiscard]] CString Output(const CString& path) const;
    [[nodiscard]] CString Status(const CString& path) const;
    /// In the directory of the server's own; that itself for an empty name, without a separator behind it: a look at
    /// such a path would follow a link.
    [[nodiscard]] CString InOwnFolder(const CString& name) const;
    /// Files of one client; empty for the null id.
    [[nodiscard]] CString DsEvents(const GUID& clientId) const;
    [[nodiscard]] CString InsertableItems(const GUID& clientId) const;
    [[nodiscard]] CString LockResults(const GUID& clientId) const;
    [[nodiscard]] CString Presence(const GUID& clientId) const;

    CString m_strRequestDir = L"invalid";
    CString m_strOutputDir = L"invalid";
    CString m_strQueueDir = L"invalid";
};
