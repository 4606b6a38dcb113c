#pragma once

#include "platform/OsError.h"
#include "platform/posix/NativePath.h"

namespace platform::posix {

/// IFileSystem::Move, for paths that have been checked.
[[nodiscard]] eOsError MovePath(const CNativePath& source, const CNativePath& target, unsigned flags);

} // namespace platform::posix
