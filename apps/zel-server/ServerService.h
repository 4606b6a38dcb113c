#pragma once

#include "apps/zel-server/ServerOptions.h"

#include <functional>

/// Does what --service asks for; the result is the exit code. serve runs the server with the same options; it is called
/// when the system has started this process as the service.
[[nodiscard]] int CarryOutServiceAction(const SServerOptions& options, const std::function<int()>& serve);
