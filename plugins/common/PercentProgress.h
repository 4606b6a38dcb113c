#pragma once

#include <ZEL_Processor/ZelProcessorProgress.h>

#include <cstdint>

/// Counts work and passes it on when the percent changes: each passing on rewrites the status file.
class CPercentProgress {
public:
    /// A total of 0 reports nothing.
    CPercentProgress(CZelProcessorProgress& progress, std::uint64_t total) : m_progress(progress), m_nTotal(total)
    {
        if (m_nTotal != 0)
            m_progress.SetRange(0, m_nTotal);
    }

    void Advance(std::uint64_t work) { MoveTo(m_nDone + work); }
    /// More than the total counts as the total: data may grow while it is counted.
    void MoveTo(std::uint64_t done)
    {
        m_nDone = done < m_nTotal ? done : m_nTotal;
        if (m_nTotal == 0 || m_nDone < m_nNext)
            return;
        m_progress.SetPos(m_nDone);
        const std::uint64_t percent = Percent(m_nDone);
        m_nNext = m_nTotal / 100 * (percent + 1) + (m_nTotal % 100 * (percent + 1) + 99) / 100;
    }

private:
    [[nodiscard]] std::uint64_t Percent(std::uint64_t done) const
    {
        return static_cast<std::uint64_t>(100.0L * static_cast<long double>(done) / static_cast<long double>(m_nTotal));
    }

    CZelProcessorProgress& m_progress;
    const std::uint64_t m_nTotal;
    std::uint64_t m_nDone = 0;
    std::uint64_t m_nNext = 1; ///< the position from which the percent is another one
};
