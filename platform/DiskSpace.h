#pragma once

#include "platform/Export.h"
#include "platform/OsError.h"

#include <cstdint>
#include <string>

namespace platform {

/// Bytes of the file system that a directory lies on.
struct SDiskSpace {
    std::uint64_t total = 0;
    std::uint64_t available = 0; ///< to this process's user
};

[[nodiscard]] ZEL_FRAMEWORK_API eOsError GetDiskSpace(const std::wstring& directory, SDiskSpace& space);

} // namespace platform
