#pragma once

#include "ZEL_Processor/ZelServerFigures.h"
#include "apps/common/ExpectedEnd.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>

/// The time that this share of the counted ones did not exceed, as far as their limits tell: between two of them it is
/// taken to grow evenly, and what is longer than the last counts as that. Empty when nothing was counted.
[[nodiscard]] std::optional<std::chrono::milliseconds> Percentile(const SZelTimes& times, double share);

/// When a run ends, as far as its progress tells.
struct SExpectedEnd {
    std::chrono::nanoseconds earliest{0}; ///< of the steady clock
    std::chrono::nanoseconds latest{0};
};

/// What became of the figures of a server in the last ten minutes. For one thread.
class CFigureHistory {
public:
    static constexpr std::int64_t kInterval = 10; ///< seconds
    static constexpr std::size_t kIntervals = 60;

    struct SInterval {
        std::int64_t start = 0; ///< seconds since 1970-01-01 UTC, a multiple of kInterval
        std::uint64_t done = 0;
        std::uint64_t failed = 0;
        SZelTimes waiting = {};
        SZelTimes running = {};
    };

    /// The figures at this time, in seconds since 1970-01-01 UTC; what is new in them is of the interval of that time.
    void Add(const SZelServerFigures& figures, std::int64_t now);
    /// The last ones without a gap, the present one at the end.
    [[nodiscard]] const std::deque<SInterval>& Intervals() const { return m_intervals; }
    /// Empty while it is not known.
    [[nodiscard]] std::optional<SExpectedEnd> EndOf(const SZelRunningFigures& run) const;

private:
    void Begin(std::int64_t start);
    void Watch(const SZelServerFigures& figures);

    std::deque<SInterval> m_intervals;
    std::uint64_t m_nDone = 0;
    std::uint64_t m_nFailed = 0;
    SZelTimes m_waiting;
    SZelTimes m_running;
    std::chrono::nanoseconds m_now{0};            ///< of the last figures
    std::map<std::uint64_t, CExpectedEnd> m_ends; ///< by run
};
