#pragma once

#include "capi/Outcome.h"

#include "ZEL_Processor/ZelServerOptions.h"

#include <string>
#include <vector>

/// What a caller chose, in the forms of the library.
struct STakenOptions {
    zel_server_options given{}; ///< for its callbacks
    SZelServerOptions options;
    std::vector<std::wstring> folders;
};

[[nodiscard]] zel_server_options MakeServerOptions(bool usual);
/// Null is the protocol alone.
[[nodiscard]] SOutcome TakeServerOptions(const zel_server_options* given, STakenOptions& taken);
