#include "bench/Series.h"

#include <algorithm>
#include <cmath>

namespace {

double Microseconds(std::chrono::nanoseconds time)
{
    return std::chrono::duration<double, std::micro>(time).count();
}

} // namespace

void CSeries::Add(std::size_t requests, std::chrono::nanoseconds time, std::chrono::nanoseconds serverCpu,
                  const std::vector<std::chrono::nanoseconds>& singles)
{
    m_requests += requests;
    m_time += time;
    m_cpu += serverCpu;
    m_singles.insert(m_singles.end(), singles.begin(), singles.end());
}

void CSeries::Add(const CSeries& other)
{
    Add(other.m_requests, other.m_time, other.m_cpu, other.m_singles);
}

std::optional<double> CSeries::Percentile(double share) const
{
    if (m_singles.empty())
        return std::nullopt;
    std::vector<std::chrono::nanoseconds> sorted = m_singles;
    const double rank = std::ceil(share * static_cast<double>(sorted.size()));
    const std::size_t index = std::min(static_cast<std::size_t>(std::max(rank, 1.0)), sorted.size()) - 1;
    std::nth_element(sorted.begin(), sorted.begin() + static_cast<std::ptrdiff_t>(index), sorted.end());
    return Microseconds(sorted[index]);
}

double CSeries::PerSecond() const
{
    return static_cast<double>(m_requests) / std::chrono::duration<double>(m_time).count();
}

double CSeries::CpuMicroseconds() const
{
    return Microseconds(m_cpu) / static_cast<double>(m_requests);
}
