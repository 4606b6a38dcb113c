#pragma once

#include "platform/Thread.h"

namespace sim {

/// Threads of the history that runs, each of the process that starts it.
[[nodiscard]] platform::IThreads& SimulatedThreads();

} // namespace sim
