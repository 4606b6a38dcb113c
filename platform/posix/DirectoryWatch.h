#pragma once

#include "platform/FileSystem.h"
#include "platform/posix/NativePath.h"

namespace platform::posix {

/// IFileSystem::Watch.
[[nodiscard]] eOsError WatchDirectory(CNativePath directory, eWatchFilter filter,
                                      std::unique_ptr<IDirectoryWatch>& watch);

} // namespace platform::posix
