#pragma once

#include "ZEL_Processor/ZelProcessorProgress.h"
#include "ZEL_Processor/ZelTypes.h"

#include <algorithm>
#include <chrono>

/// The pace of progress when a task says nothing else.
constexpr std::chrono::milliseconds kZelProgressPause{50};

/// Passes the progress of a task on in a pace that readers can follow: each passing on rewrites the status file and
/// wakes up whoever watches. A position goes on when its percent is higher than any before or the pause since the last
/// one is over; a comment or a range, of which there are few, at once as long as no more than kBurst come in a row, and
/// then one in each pause; a new status always. What was kept back goes on with the next report that does, and in the
/// end with the destructor: the last one always arrives, unless a fault jumps over this object. One thread at a time.
class CZelPacedProgress final : public CZelProcessorProgress {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    using NowFunction = TimePoint (*)();
    static constexpr int kBurst = 10;

    /// The target must live longer. A pause of 0 passes everything on.
    explicit CZelPacedProgress(CZelProcessorProgress& target, std::chrono::nanoseconds pause = kZelProgressPause,
                               NowFunction now = &std::chrono::steady_clock::now)
        : m_target(target), m_pause(pause), m_now(now), m_last(now()), m_refilled(m_last)
    {}
    ~CZelPacedProgress()
    {
        try {
            PassOn();
        } catch (...) { // NOLINT(bugprone-empty-catch): the end of the work matters more than its last report
        }
    }
    CZelPacedProgress(const CZelPacedProgress&) = delete;
    CZelPacedProgress& operator=(const CZelPacedProgress&) = delete;

    void SetRange(std::uint64_t low, std::uint64_t high) override
    {
        m_nLow = low;
        m_nHigh = high;
        m_nPosition = 0;
        m_bRange = true;
        m_bPosition = false;
        if (TakeTurn())
            PassOn();
    }
    void SetPos(std::uint64_t position) override
    {
        m_nPosition = position;
        m_bPosition = true;
        if (ZelPercent(m_nLow, m_nHigh, position) > m_nHighest || m_now() - m_last >= m_pause)
            PassOn();
    }
    void SetStep(std::int32_t step) override { m_nStep = step; }
    void StepIt() override { SetPos(m_nPosition + static_cast<std::uint64_t>(static_cast<std::int64_t>(m_nStep))); }
    void SetComment(const wchar_t* comment) override
    {
        m_strComment = comment != nullptr ? comment : L"";
        m_bComment = true;
        if (TakeTurn())
            PassOn();
    }
    void SetStatusAndComment(eZelProcRequestStatus status, const wchar_t* comment) override
    {
        if (status == m_eStatus)
            return SetComment(comment);
        m_eStatus = status;
        m_bComment = false; // the new one stands in its place
        PassOn();
        m_target.SetStatusAndComment(status, comment);
    }

private:
    void PassOn()
    {
        if (m_bRange)
            m_target.SetRange(m_nLow, m_nHigh);
        if (m_bPosition)
            m_target.SetPos(m_nPosition);
        if (m_bComment)
            m_target.SetComment(m_strComment.c_str());
        const std::int32_t percent = ZelPercent(m_nLow, m_nHigh, m_nPosition);
        // Ranges that come one after the other don't begin anew each time, or each would be good for a hundred reports.
        m_nHighest = m_bRange && m_nTurns > 0 ? percent : std::max(m_nHighest, percent);
        m_bRange = m_bPosition = m_bComment = false;
        m_last = m_now();
    }
    /// One of the turns that are left; each pause brings one more.
    [[nodiscard]] bool TakeTurn()
    {
        if (m_pause.count() <= 0)
            return true;
        const auto more = (m_now() - m_refilled) / m_pause;
        m_refilled += more * m_pause;
        m_nTurns = static_cast<int>(std::min<std::chrono::nanoseconds::rep>(m_nTurns + more, kBurst));
        if (m_nTurns == 0)
            return false;
        --m_nTurns;
        return true;
    }

    CZelProcessorProgress& m_target;
    const std::chrono::nanoseconds m_pause;
    const NowFunction m_now;
    TimePoint m_last;     ///< when something was passed on
    TimePoint m_refilled; ///< up to when turns were given
    int m_nTurns = kBurst;
    std::uint64_t m_nLow = 0;
    std::uint64_t m_nHigh = 100;
    std::uint64_t m_nPosition = 0;
    std::int32_t m_nStep = 1;
    std::int32_t m_nHighest = -1; ///< percent that was passed on
    eZelProcRequestStatus m_eStatus = eRequestStatus_NotIntialized;
    CString m_strComment;
    bool m_bRange = false; ///< what is kept back
    bool m_bPosition = false;
    bool m_bComment = false;
};
