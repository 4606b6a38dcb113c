#include "apps/common/ExpectedEnd.h"

#include <algorithm>

void CExpectedEnd::Report(std::optional<std::int32_t> percent, std::chrono::nanoseconds now)
{
    if (!percent || (!m_reports.empty() && *percent < m_reports.back().percent)) {
        m_first.reset();
        m_reports.clear();
        m_nReports = 0;
    }
    if (!percent || (!m_reports.empty() && *percent == m_reports.back().percent))
        return;
    const SReport report{*percent, now};
    if (!m_first)
        m_first = report;
    m_reports.push_back(report);
    ++m_nReports;
    if (m_reports.size() > kRemembered)
        m_reports.pop_front();
}

std::optional<CExpectedEnd::SRange> CExpectedEnd::Left(std::chrono::nanoseconds now) const
{
    using Seconds = std::chrono::duration<double>;
    if (m_nReports < kLeastReports || m_reports.back().percent - m_first->percent < kLeastPercent ||
        m_reports.back().percent >= 100 || now - m_first->time < kLeastTime)
        return std::nullopt;
    const SReport& last = m_reports.back();
    const SReport& middle = m_reports[m_reports.size() / 2];
    const SReport& front = m_reports.front();
    const double rest = 100.0 - last.percent;
    double shortest = Seconds(kLongest).count() * 2;
    double longest = 0;
    const auto consider = [&](const SReport& from, const SReport& to, std::chrono::nanoseconds end) {
        const double time = Seconds(end - from.time).count();
        if (to.percent <= from.percent || time <= 0)
            return;
        const double left = rest * time / (to.percent - from.percent);
        shortest = std::min(shortest, left);
        longest = std::max(longest, left);
    };
    const double waited = Seconds(now - last.time).count();
    consider(*m_first, last, last.time);
    consider(*m_first, last, now);
    consider(front, middle, middle.time);
    consider(middle, last, last.time);
    consider(middle, last, now);
    if (longest <= 0 || longest > Seconds(kLongest).count())
        return std::nullopt;
    // What has passed since the last report has passed of what was left then.
    return SRange{std::chrono::floor<std::chrono::seconds>(Seconds(std::max(shortest - waited, 0.0))),
                  std::chrono::ceil<std::chrono::seconds>(Seconds(longest))};
}
