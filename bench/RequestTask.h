#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// What the requests of a row ask for, as the client is told. Behind kComputeTask comes the number of rounds.
constexpr const char* kEchoTask = "echo";
constexpr const char* kMixedTask = "mixed"; ///< an echo, each request of a priority of its own
constexpr const char* kSleepTask = "sleep";
constexpr const char* kComputeTask = "compute-";

/// Of the tasks that sleep or compute.
constexpr std::uint32_t kTaskMilliseconds = 5;

/// The priority of the request of this index; 0 but for kMixedTask.
[[nodiscard]] int PriorityOf(const std::string& task, std::size_t index);
/// 1 KiB of XML.
[[nodiscard]] std::string RequestText(const std::string& task, std::size_t index);

/// What has to be computed for kTaskMilliseconds on this machine.
[[nodiscard]] std::string MeasuredComputeTask();
