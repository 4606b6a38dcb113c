#pragma once

#include "apps/zel-server/ServerOptions.h"

/// Says on standard output what a start with these options would do: directories, plug-ins, what it would delete. Loads
/// plug-ins, and leaves nothing in the directories. The result is the exit code: whether the server would start, as far
/// as that can be told without doing it.
[[nodiscard]] int CheckServer(const SServerOptions& options);
