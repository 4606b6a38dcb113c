#pragma once

#include <chrono>
#include <cstdint>
#include <sys/resource.h>
#include <sys/types.h>

namespace platform::posix {

[[nodiscard]] std::uint64_t OwnPeakMemory();
/// User and system time of a process that has ended.
[[nodiscard]] std::chrono::nanoseconds CpuTimeOf(const rusage& usage);
/// The same of one that runs.
[[nodiscard]] std::chrono::nanoseconds CpuTimeOfRunning(pid_t id);
[[nodiscard]] std::uint64_t PeakMemoryOfRunning(pid_t id);

} // namespace platform::posix
