#pragma once

#include "apps/zel-server/ServerOptions.h"

#include <string>
#include <vector>

/// Makes the plug-ins known to this process, from all the places where they may lie. A line for each that is left out.
[[nodiscard]] std::vector<std::wstring> AddServerPlugins(const SServerOptions& options);
