#pragma once

#include "platform/win32/Handle.h"

#include <cstdint>

namespace platform::win32 {

/// How one process asks another one to stop. A Ctrl-Break event reaches only processes at the same console, and a
/// service has none; so beside it there is a named event for each process. Whoever starts a process makes the event
/// before the process runs, thus a request that comes before the process listens is not lost.
[[nodiscard]] CHandle MakeStopEvent(std::uint32_t processId);

/// In the same way a process is asked to read again what it was configured by.
[[nodiscard]] CHandle MakeReloadEvent(std::uint32_t processId);

/// Set by a process that listens to its stop event, so that nobody sends it a Ctrl-Break as well.
[[nodiscard]] CHandle MakeListeningEvent(std::uint32_t processId);

} // namespace platform::win32
