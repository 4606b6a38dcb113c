#pragma once

#include "platform/Export.h"

#include <string>

// The version of these headers. The build takes its own from here, and whoever is built elsewhere against an installed
// copy has the same numbers. Two versions with the same major and minor number fit together.
#define ZEL_VERSION_MAJOR 0
#define ZEL_VERSION_MINOR 1
#define ZEL_VERSION_PATCH 0

/// What a report of a failure must tell about versions.
namespace platform {

/// Of the library that is loaded ("0.1.0"), which may be another than that of the headers.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring LibraryVersion();
/// What the library was built with: "GCC 12.2.0, 64 bit".
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring CompilerVersion();
/// The operating system and its version: "Linux 6.1.0-18-amd64 x86_64", "Windows 10.0.19045".
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring SystemVersion();

} // namespace platform
