#pragma once

#include "platform/Export.h"
#include "platform/SourceLocation.h"

#include <memory>
#include <string>
#include <string_view>

namespace spdlog {
class logger;
}

/// Logging through the named loggers that the host hands out.
namespace Brel::Log {

using Logger = spdlog::logger;

/// With the numbers of spdlog.
enum eLogLevel {
    eLogLevel_Trace,
    eLogLevel_Debug,
    eLogLevel_Info,
    eLogLevel_Warning,
    eLogLevel_Error,
    eLogLevel_Critical
};

/// The logger of this name from the host. Never null.
[[nodiscard]] ZEL_FRAMEWORK_API std::shared_ptr<Logger> Get(const std::string& name);

/// True when a line of this level would be written: ask before building an expensive text.
[[nodiscard]] ZEL_FRAMEWORK_API bool IsEnabled(Logger& logger, eLogLevel level);

/// Writes one line. The text is handed over as it is, braces included. Never throws.
ZEL_FRAMEWORK_API void Write(Logger& logger, eLogLevel level, const platform::SSourceLocation& location,
                             std::wstring_view text);
/// The same whatever the logger's level is: for what a program has to say to whoever started it.
ZEL_FRAMEWORK_API void WriteAlways(Logger& logger, eLogLevel level, const platform::SSourceLocation& location,
                                   std::wstring_view text);

} // namespace Brel::Log
