#pragma once

#include "platform/FileSystem.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/NativePath.h"

#include <sys/stat.h>

namespace platform::posix {

/// IFileSystem::Open.
[[nodiscard]] eOsError OpenFile(const CNativePath& path, eOpenMode mode, std::unique_ptr<IFile>& file);

/// Attributes of what a path names, or, with an empty path, of the descriptor. 0 or -1 and errno.
[[nodiscard]] int ReadAttributes(int descriptor, const char* path, SFileAttributes& attributes);

/// IFileSystem::SyncFile.
[[nodiscard]] eOsError SyncFileAt(const CNativePath& path);

/// IFileSystem::GetChangeTime.
[[nodiscard]] eOsError ReadChangeTime(const CNativePath& path, FileTimeNs& time);

/// True when the path names the file with this status now.
[[nodiscard]] bool StillNames(const char* path, const struct stat& status);

/// Tries of an open whose file lost its name before its lock was ours. Each further one takes another process that
/// replaced the file in those microseconds, so the number is never reached by chance.
constexpr int kMaxOpenTries = 100;

} // namespace platform::posix
