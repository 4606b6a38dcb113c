#pragma once

#include "platform/Export.h"

#include <string>

namespace platform {

/// What this machine calls itself, for people; empty when it does not tell.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring HostName();

} // namespace platform
