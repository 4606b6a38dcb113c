#pragma once

#include "ZEL_Processor/ZelServerFigures.h"

#include <cstdint>
#include <string>

/// What the figures of a server are called in the text format that Prometheus reads.
struct SMetricsFacts {
    std::wstring outputDir = {}; ///< the label "server" of each figure, for there may be several servers on a machine
    std::wstring version = {};
    std::int64_t started = 0; ///< seconds since 1970-01-01 UTC
    bool isUp = true;
};

[[nodiscard]] std::string MetricsText(const SZelServerFigures& figures, const SMetricsFacts& facts);
