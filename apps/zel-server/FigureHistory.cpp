#include "apps/zel-server/FigureHistory.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace {

/// The counts of this interval: what is new since the ones before.
void AddNew(SZelTimes& to, const SZelTimes& now, SZelTimes& before)
{
    for (std::size_t place = 0; place < now.counts.size(); ++place)
        to.counts[place] += now.counts[place] - before.counts[place];
    to.sum += now.sum - before.sum;
    before = now;
}

} // namespace

std::optional<std::chrono::milliseconds> Percentile(const SZelTimes& times, double share)
{
    const auto all = std::accumulate(times.counts.begin(), times.counts.end(), std::uint64_t{0});
    if (all == 0)
        return std::nullopt;
    const double wanted = share * static_cast<double>(all);
    double below = 0;
    for (std::size_t place = 0; place < SZelTimes::kLimitsMs.size(); ++place) {
        const auto here = static_cast<double>(times.counts[place]);
        const auto low = static_cast<double>(place == 0 ? 0 : SZelTimes::kLimitsMs[place - 1]);
        const auto high = static_cast<double>(SZelTimes::kLimitsMs[place]);
        if (here > 0 && below + here >= wanted)
            return std::chrono::milliseconds(std::llround(low + ((high - low) * (wanted - below) / here)));
        below += here;
    }
    return std::chrono::milliseconds(SZelTimes::kLimitsMs.back());
}

void CFigureHistory::Begin(std::int64_t start)
{
    if (m_intervals.empty() || start < m_intervals.back().start) // of a clock that was set back
        m_intervals.clear();
    const std::int64_t first = start - (static_cast<std::int64_t>(kIntervals) - 1) * kInterval;
    std::int64_t next = m_intervals.empty() ? start : std::max(m_intervals.back().start + kInterval, first);
    for (; next <= start; next += kInterval)
        m_intervals.push_back({.start = next});
    while (m_intervals.front().start < first)
        m_intervals.pop_front();
}

void CFigureHistory::Add(const SZelServerFigures& figures, std::int64_t now)
{
    Begin(now - now % kInterval);
    SInterval& interval = m_intervals.back();
    std::uint64_t done = 0;
    std::uint64_t failed = 0;
    for (const SZelTypeFigures& type : figures.types) {
        done += type.done;
        failed += type.failed;
    }
    interval.done += done - m_nDone;
    interval.failed += failed - m_nFailed;
    m_nDone = done;
    m_nFailed = failed;
    AddNew(interval.waiting, figures.waiting, m_waiting);
    AddNew(interval.running, figures.running, m_running);
    Watch(figures);
}

void CFigureHistory::Watch(const SZelServerFigures& figures)
{
    m_now = figures.now;
    std::erase_if(m_ends, [&](const auto& entry) {
        return std::ranges::find(figures.runs, entry.first, &SZelRunningFigures::run) == figures.runs.end();
    });
    for (const SZelRunningFigures& run : figures.runs)
        m_ends[run.run].Report(run.percent < 0 ? std::nullopt : std::optional(run.percent), figures.now);
}

std::optional<SExpectedEnd> CFigureHistory::EndOf(const SZelRunningFigures& run) const
{
    const auto found = m_ends.find(run.run);
    const auto left = found == m_ends.end() ? std::nullopt : found->second.Left(m_now);
    return left ? std::optional(SExpectedEnd{.earliest = m_now + left->shortest, .latest = m_now + left->longest})
                : std::nullopt;
}
