#pragma once

#include "platform/FileSystem.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/NativePath.h"

namespace platform::posix {

/// Brings the names in an open directory to the device.
[[nodiscard]] eOsError SyncDirectoryOf(const CDescriptor& directory);
[[nodiscard]] eOsError OpenDirectoryForSync(const CNativePath& directory, std::unique_ptr<IDirectorySync>& sync);

} // namespace platform::posix
