#include "bench/RequestTask.h"

#include "bench/BenchError.h"
#include "platform/Os.h"
#include "plugins/testtasks/Computing.h"

#include <algorithm>
#include <chrono>
#include <string_view>

namespace {

constexpr std::size_t kRequestBytes = 1024;
constexpr int kHighestPriority = 100;
/// Of the priorities, in an order without a pattern: no divisor of their number.
constexpr std::size_t kPriorityStep = 73;

std::string TaskText(const std::string& task)
{
    if (task == kEchoTask || task == kMixedTask)
        return "Type=\"Echo\"";
    if (task == kSleepTask)
        return "Type=\"Sleep\" Steps=\"1\" Milliseconds=\"" + std::to_string(kTaskMilliseconds) + "\"";
    if (task.starts_with(kComputeTask))
        return "Type=\"Compute\" Rounds=\"" + task.substr(std::string_view(kComputeTask).size()) + "\"";
    Fail(L"no such task: " + platform::FromUtf8(task));
}

} // namespace

int PriorityOf(const std::string& task, std::size_t index)
{
    constexpr std::size_t count = 2 * kHighestPriority + 1;
    return task == kMixedTask ? static_cast<int>(index * kPriorityStep % count) - kHighestPriority : 0;
}

std::string RequestText(const std::string& task, std::size_t index)
{
    const std::string priority =
        task == kMixedTask ? " Priority=\"" + std::to_string(PriorityOf(task, index)) + "\"" : std::string();
    const std::string before = "<Request" + priority + "><Task " + TaskText(task) + "><Text>";
    const std::string after = "</Text></Task></Request>";
    return before + std::string(kRequestBytes - before.size() - after.size(), 'a') + after;
}

std::string MeasuredComputeTask()
{
    constexpr std::uint32_t kRounds = 1000;
    constexpr int kTries = 20;
    std::chrono::nanoseconds shortest = std::chrono::nanoseconds::max();
    std::uint64_t number = 1;
    for (int attempt = 0; attempt < kTries; ++attempt) {
        const std::chrono::nanoseconds start = platform::Clock().Steady();
        for (std::uint32_t round = 0; round < kRounds; ++round)
            number = ComputeRound(number);
        shortest = std::min(shortest, platform::Clock().Steady() - start);
    }
    if (number == 0) // never, but the compiler does not know
        Fail(L"nothing was computed");
    const std::chrono::nanoseconds wanted = std::chrono::milliseconds(kTaskMilliseconds);
    const auto rounds = kRounds * wanted.count() / std::max<std::chrono::nanoseconds::rep>(shortest.count(), 1);
    return kComputeTask + std::to_string(std::max<std::chrono::nanoseconds::rep>(rounds, 1));
}
