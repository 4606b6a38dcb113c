#pragma once

#include "tests/simulation/World.h"

#include <string>
#include <vector>

namespace sim {

struct SResult {
    std::vector<std::string> faults; ///< what broke the promise
    std::uint64_t sum = 0;           ///< of all that happened
    std::size_t calls = 0;
};

/// The one that repeats a history.
[[nodiscard]] std::string CommandOf(const SSettings& settings);
/// One history from its beginning to its end, all of it decided by the seed.
[[nodiscard]] SResult RunHistory(const SSettings& settings);

} // namespace sim
