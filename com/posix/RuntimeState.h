#pragma once

namespace com_posix {

/// How often the calling thread is initialised.
[[nodiscard]] int InitializationCount() noexcept;

} // namespace com_posix
