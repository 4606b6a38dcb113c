#pragma once

#include "ZEL_Processor/ZelServerOptions.h"
#include "apps/zel-server/ServerOptions.h"

#include <string>

/// What the program asks of the library: more than the file protocol says, unless it is to be strict. Without the call
/// back.
[[nodiscard]] SZelServerOptions LibraryOptions(const SServerOptions& options);

/// What the variable of the data store's time limit is to be, when it is as given; empty for none.
[[nodiscard]] std::wstring QueryTimeLimit(const SServerOptions& options, const std::wstring& variable);
