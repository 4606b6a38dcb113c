#pragma once

#include "platform/FileSystem.h"
#include "platform/posix/NativePath.h"

#include <sys/stat.h>

namespace platform::posix {

/// IFileSystem::GetOwner, MakePrivate, CanMakePrivate and AllowReading.
[[nodiscard]] eOsError OwnerOf(const CNativePath& path, FileOwner& owner);
[[nodiscard]] eOsError MakePathPrivate(const CNativePath& path, const FileOwner& owner);
[[nodiscard]] eOsError TryMakingPrivate(const CNativePath& directory);
[[nodiscard]] eOsError AllowOwnerToRead(const CNativePath& path, const CNativePath& directory);

/// Makes an open file of ours private to this owner and to us. 0 or -1 and errno.
[[nodiscard]] int SetPrivate(int descriptor, const FileOwner& owner);
/// True when SetPrivate would change nothing.
[[nodiscard]] bool IsPrivate(int descriptor, const struct stat& status, const FileOwner& owner);

} // namespace platform::posix
