#pragma once

#include <spdlog/formatter.h>

#include <memory>

/// Of a message to one line of the log, on the thread that writes it: the line has the request that this thread works
/// on. Both forms are described in framework/LogOptions.h.
[[nodiscard]] std::unique_ptr<spdlog::formatter> MakeTextLogFormatter(bool places = true);
[[nodiscard]] std::unique_ptr<spdlog::formatter> MakeJsonLogFormatter(bool places = true);
