#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <vector>

/// Shares for CSeries::Percentile.
constexpr double kMedian = 0.5;
constexpr double kTail = 0.99;

/// What was measured of one side of a row, over all its rounds.
class CSeries {
public:
    /// requests: how many there were in this time. singles: their own times, where they were taken.
    void Add(std::size_t requests, std::chrono::nanoseconds time, std::chrono::nanoseconds serverCpu,
             const std::vector<std::chrono::nanoseconds>& singles);

    void Add(const CSeries& other);

    /// The time below or at which this share of the requests lies, in microseconds.
    [[nodiscard]] std::optional<double> Percentile(double share) const;
    [[nodiscard]] double PerSecond() const;
    /// Microseconds of the server's processor time per request.
    [[nodiscard]] double CpuMicroseconds() const;
    [[nodiscard]] std::size_t Requests() const { return m_requests; }

private:
    std::size_t m_requests = 0;
    std::chrono::nanoseconds m_time{};
    std::chrono::nanoseconds m_cpu{};
    std::vector<std::chrono::nanoseconds> m_singles;
};
