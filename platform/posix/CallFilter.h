#pragma once

#include "platform/OsError.h"

namespace platform::posix {

/// Whether the kernel, and this source, can refuse calls here.
[[nodiscard]] bool CanRefuseCalls();
/// Refuses this thread and all that it starts the calls that no task needs; see EnterSandbox. For good.
[[nodiscard]] eOsError RefuseCalls(bool mayUseNetwork);

} // namespace platform::posix
