#include "framework/Log.h"

#include "framework/Host.h"
#include "framework/LogOptions.h"
#include "framework/log/LogRegistry.h"
#include "platform/Text.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/sink.h>

namespace Brel::Log {

namespace {

static_assert(static_cast<int>(eLogLevel_Trace) == SPDLOG_LEVEL_TRACE);
static_assert(static_cast<int>(eLogLevel_Critical) == SPDLOG_LEVEL_CRITICAL);

spdlog::level::level_enum SpdlogLevel(eLogLevel level)
{
    return static_cast<spdlog::level::level_enum>(level);
}

spdlog::source_loc PlaceOf(const platform::SSourceLocation& location)
{
    return {location.file, location.line, location.function};
}

} // namespace

std::shared_ptr<Logger> Get(const std::string& name)
{
    return WQ_Host().GetLogger(name);
}

bool IsEnabled(Logger& logger, eLogLevel level)
{
    return logger.should_log(SpdlogLevel(level));
}

void Write(Logger& logger, eLogLevel level, const platform::SSourceLocation& location, std::wstring_view text)
{
    if (!IsEnabled(logger, level))
        return;
    try {
        const std::string bytes = platform::ToUtf8(text);
        // The overload for finished texts: the others would take braces for placeholders.
        logger.log(PlaceOf(location), SpdlogLevel(level), spdlog::string_view_t(bytes));
    } catch (...) {
        // A line is lost for want of memory. Logging must never be what ends the work that it tells about.
        return;
    }
}

void WriteAlways(Logger& logger, eLogLevel level, const platform::SSourceLocation& location, std::wstring_view text)
{
    try {
        const std::string bytes = platform::ToUtf8(text);
        const spdlog::details::log_msg message(PlaceOf(location), logger.name(), SpdlogLevel(level), bytes);
        // Past the logger, which would ask for the level.
        for (const spdlog::sink_ptr& sink : logger.sinks())
            sink->log(message);
    } catch (...) {
        return; // as above
    }
}

bool Configure(const SLogOptions& options, std::wstring* errorText)
{
    return CLogRegistry::Instance().Configure(options, errorText);
}

} // namespace Brel::Log
