#pragma once

#include "platform/Export.h"

#include <string>

namespace platform {

/// Who has a file open or locked, for the person who is to ask him to let go: "process 12 (tail), process 7 (vim)". At
/// most five, and only those that this process may see: empty says nothing. A name is what the process calls itself,
/// with '?' for what does not print. Walks through the processes of the machine, for 20 ms of a processor and half a
/// second at most, so not for a hot path.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring FileHolders(const std::wstring& path);

} // namespace platform
