#pragma once

#include <chrono>
#include <thread>

namespace testsupport {

/// For what no notification tells: looks every millisecond. False when it does not come true in time, which is long
/// enough for a loaded machine and reached only by a test that fails.
template <class Condition>
[[nodiscard]] bool WaitUntil(const Condition& condition, std::chrono::milliseconds patience = std::chrono::seconds(20))
{
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace testsupport
