#pragma once

#include "platform/Export.h"
#include "platform/OsError.h"

#include <string>

/// What a name in a directory is, for who does not trust those that may create names there. No link is followed.
namespace platform {

enum eNameKind {
    eNameKind_Missing, ///< or not to be looked at
    eNameKind_File,
    eNameKind_Directory,
    eNameKind_Link, ///< a symbolic link, or a junction on Windows, wherever it leads
    eNameKind_Other ///< a named pipe, a socket, a device
};

[[nodiscard]] ZEL_FRAMEWORK_API eNameKind NameKind(const std::wstring& path);

/// Whether a file has other names (hard links): who keeps one of them open, or moves it, keeps the file.
[[nodiscard]] ZEL_FRAMEWORK_API bool HasSeveralNames(const std::wstring& path);

/// None when nobody else can have put this directory there: it is no link (LinkInTheWay), and it belongs to the user of
/// this process or to the system's administrators (ForeignOwner).
[[nodiscard]] ZEL_FRAMEWORK_API eOsError CheckOwnDirectory(const std::wstring& path);

} // namespace platform
