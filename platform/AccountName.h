#pragma once

#include "platform/Export.h"
#include "platform/FileSystem.h"

#include <string>

namespace platform {

/// The name by which people know the owner of a file: that of the account, or its number where it has none. Asks the
/// system's directory of users, which may be another machine. Empty for nobody.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring AccountName(const FileOwner& owner);

} // namespace platform
