#pragma once

#include <cstddef>
#include <string_view>

namespace platform::posix {

/// Writes all bytes to a descriptor that may be a pipe. False when they could not be written; a reader that is gone
/// does not end the process with a signal.
[[nodiscard]] bool WriteAll(int descriptor, std::string_view bytes);

} // namespace platform::posix
