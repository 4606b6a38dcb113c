#pragma once

#include "ZEL_Processor/ZelServerOptions.h"
#include "apps/zel-server/ServerOptions.h"

#include <string>

/// Of the data store's time limit, in the environment.
inline constexpr const wchar_t* kQueryTimeVariable = L"ZEL_QUERY_TIME_LIMIT";

/// What the program asks of the library: more than the file protocol says, unless it is to be strict. Without the call
/// back.
[[nodiscard]] SZelServerOptions LibraryOptions(const SServerOptions& asked);

/// The options with what is in force where nothing was asked for, so far as there is an option that would say it.
/// variable: that of the data store's time limit, as it is.
[[nodiscard]] SServerOptions OptionsInForce(const SServerOptions& asked, const std::wstring& variable);

/// What the variable of the data store's time limit is to be, when it is as given; empty for none.
[[nodiscard]] std::wstring QueryTimeLimit(const SServerOptions& options, const std::wstring& variable);
