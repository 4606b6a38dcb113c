#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What a server has counted, as it wrote it down.
struct SStatsReport {
    /// The half, and 95 and 99 of a hundred took no longer, in milliseconds; empty when nothing was counted.
    using Percentiles = std::array<std::optional<double>, 3>;

    struct SType {
        std::wstring name; ///< empty: not known, for they were cancelled before they ran
        std::uint64_t done = 0;
        std::uint64_t failed = 0;
        std::uint64_t canceled = 0;
    };
    struct SInterval {
        std::int64_t start = 0; ///< seconds since 1970-01-01 UTC
        std::uint64_t done = 0;
        std::uint64_t failed = 0;
    };

    /// Empty for what no server wrote.
    [[nodiscard]] static std::optional<SStatsReport> FromJson(std::string_view bytes);

    /// For people, in lines. now: in seconds since 1970-01-01 UTC. hasNoServer: the one that wrote it has gone.
    [[nodiscard]] std::wstring ToText(std::int64_t now, bool hasNoServer) const;

    std::wstring json;        ///< on one line without line end
    std::int64_t written = 0; ///< seconds since 1970-01-01 UTC
    std::int64_t since = 0;
    SType all; ///< without a name
    std::uint64_t refused = 0;
    std::uint64_t events = 0;
    std::uint64_t bytesRead = 0;
    std::uint64_t bytesWritten = 0;
    std::uint64_t restarts = 0;
    std::uint64_t waiting = 0;
    std::uint64_t paused = 0;
    std::uint64_t running = 0;
    std::uint64_t slots = 0;
    std::uint64_t clients = 0;
    Percentiles wait;
    Percentiles run;
    std::vector<SType> types;
    std::vector<SInterval> intervals;
};
