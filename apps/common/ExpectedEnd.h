#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

/// How long something takes that tells its percent now and then. It says nothing before it can know, and a range: from
/// the fastest to the slowest rate that was seen, over all and over the halves of what it remembers, with the time
/// since the last report counted as one without progress.
class CExpectedEnd {
public:
    struct SRange {
        std::chrono::seconds shortest;
        std::chrono::seconds longest;

        friend bool operator==(const SRange&, const SRange&) = default;
    };
    static constexpr std::size_t kLeastReports = 3;
    static constexpr std::int32_t kLeastPercent = 2;
    static constexpr std::chrono::seconds kLeastTime{1};
    /// Beyond that a number would only pretend to be one.
    static constexpr std::chrono::hours kLongest{24 * 30};

    /// Nothing when it waits, is paused or tells none. The same percent again is no report, and a lower one a new
    /// beginning.
    void Report(std::optional<std::int32_t> percent, std::chrono::nanoseconds now);
    /// What is left; nothing while it is not known.
    [[nodiscard]] std::optional<SRange> Left(std::chrono::nanoseconds now) const;

private:
    static constexpr std::size_t kRemembered = 32;

    struct SReport {
        std::int32_t percent;
        std::chrono::nanoseconds time;
    };
    std::optional<SReport> m_first;
    std::deque<SReport> m_reports;
    std::size_t m_nReports = 0;
};
