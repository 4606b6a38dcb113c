#pragma once

#include <chrono>
#include <functional>

namespace sim {

inline constexpr std::chrono::milliseconds kForever = std::chrono::hours(24 * 365);

/// For the current thread; nothing where no history runs. Perhaps, or where somebody else can run surely, it is
/// another one's turn.
void Pause(bool isForOthers = false);
/// Until the condition holds or the time is over. It is asked on whatever thread runs.
void WaitFor(std::chrono::nanoseconds timeout, const std::function<bool()>& condition);

} // namespace sim
