#pragma once

#include "platform/Os.h"

#include <chrono>

namespace testsupport {

/// Tries until the file is free or the attempt fails otherwise, as the protocol does, but only for as long as a loaded
/// machine may need.
template <class Attempt>
[[nodiscard]] platform::eOsError UntilFree(const Attempt& attempt)
{
    const auto end = platform::SystemClock().Steady() + std::chrono::seconds(60);
    for (;;) {
        const platform::eOsError error = attempt();
        if (error != platform::eOsError_SharingViolation || platform::SystemClock().Steady() > end)
            return error;
        platform::SystemClock().YieldThread();
    }
}

} // namespace testsupport
