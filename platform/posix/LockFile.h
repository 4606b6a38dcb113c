#pragma once

#include "platform/FileSystem.h"
#include "platform/posix/NativePath.h"

namespace platform::posix {

/// IFileSystem::OpenLockFile.
[[nodiscard]] eOsError TakeLockFile(CNativePath path, const std::string& content, std::unique_ptr<ILockFile>& lockFile);

} // namespace platform::posix
