#include "apps/zel-server/FigureHistory.h"

#include <algorithm>
#include <iterator>
#include <numeric>

namespace {

constexpr std::size_t kFewestReports = 3;
constexpr std::size_t kMostReports = 8;
constexpr std::int32_t kFewestPercent = 2;
/// Nobody knows it better than this.
constexpr double kUncertain = 0.1;

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
            return std::chrono::milliseconds(
                static_cast<std::chrono::milliseconds::rep>(low + ((high - low) * (wanted - below) / here) + 0.5));
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
    std::erase_if(m_reports, [&](const auto& entry) {
        return std::ranges::find(figures.runs, entry.first, &SZelRunningFigures::run) == figures.runs.end();
    });
    for (const SZelRunningFigures& run : figures.runs) {
        auto& reports = m_reports[run.run];
        if (!reports.empty() && run.percent < reports.back().percent)
            reports.clear(); // it has begun something else
        if (run.percent < 0 || (!reports.empty() && run.percent == reports.back().percent))
            continue;
        reports.push_back({figures.now, run.percent});
        if (reports.size() > kMostReports)
            reports.pop_front();
    }
}

std::optional<SExpectedEnd> CFigureHistory::EndOf(const SZelRunningFigures& run) const
{
    const auto found = m_reports.find(run.run);
    if (found == m_reports.end() || found->second.size() < kFewestReports)
        return std::nullopt;
    const SReport& first = found->second.front();
    const SReport& last = found->second.back();
    const auto gone = static_cast<double>((last.time - run.since).count());
    const auto lately = static_cast<double>((last.time - first.time).count());
    if (last.percent < kFewestPercent || gone <= 0 || lately <= 0)
        return std::nullopt;
    // The whole way, and the last part of it: where they differ, so does the end.
    const double rates[] = {last.percent / gone, (last.percent - first.percent) / lately};
    const double left = 100 - last.percent;
    const auto after = [&](double rate, double factor) {
        return last.time + std::chrono::nanoseconds(static_cast<std::int64_t>(left / rate * factor));
    };
    const auto [slow, fast] = std::minmax(rates[0], rates[1]);
    return SExpectedEnd{.earliest = after(fast, 1 - kUncertain), .latest = after(slow, 1 + kUncertain)};
}
