#pragma once

#include "platform/FileSystem.h"

namespace platform::win32 {

/// IFileSystem::OpenLockFile.
[[nodiscard]] eOsError OpenLockFile(const std::wstring& path, const std::string& content,
                                    std::unique_ptr<ILockFile>& lockFile);

} // namespace platform::win32
