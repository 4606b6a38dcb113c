#pragma once

#include "platform/FileSystem.h"

namespace platform::win32 {

/// IFileSystem::Watch.
[[nodiscard]] eOsError WatchDirectory(const std::wstring& directory, eWatchFilter filter,
                                      std::unique_ptr<IDirectoryWatch>& watch);

} // namespace platform::win32
