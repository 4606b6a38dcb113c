#pragma once

#include "platform/Export.h"
#include "platform/OsError.h"

#include <cstddef>
#include <string>

namespace platform {

/// Removes a folder with its files and the folders in it with theirs, whoever has them open as far as the system lets.
/// Follows no link, not even one that somebody puts there meanwhile: one in the folder is removed itself, and where the
/// path names one, or a file, that is NotADirectory and stays. DirectoryNotEmpty when something is left: what lies
/// deeper, what cannot be removed, and all beyond so many names.
[[nodiscard]] ZEL_FRAMEWORK_API eOsError RemoveFolder(const std::wstring& path, std::size_t maxNames);

} // namespace platform
