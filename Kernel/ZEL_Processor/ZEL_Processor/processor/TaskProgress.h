#pragma once

#include "ZEL_Processor/ZelProcessorProgress.h"
#include "ZEL_Processor/ZelTaskHarness.h"

/// Keeps what a task reports as a status file would have it, and hands on each state.
class CTaskProgress final : public CZelProcessorProgress {
public:
    explicit CTaskProgress(const std::function<void(const SZelTaskRun&)>& onProgress) : m_onProgress(onProgress) {}

    void SetRange(std::uint64_t low, std::uint64_t high) override;
    void SetPos(std::uint64_t position) override;
    void SetStep(std::int32_t step) override { m_nStep = step; }
    void StepIt() override { SetPos(m_nPosition + static_cast<std::uint64_t>(static_cast<std::int64_t>(m_nStep))); }
    void SetComment(const wchar_t* comment) override;
    void SetStatusAndComment(eZelProcRequestStatus status, const wchar_t* comment) override;

    [[nodiscard]] const SZelTaskRun& Run() const { return m_run; }

private:
    void Tell();

    const std::function<void(const SZelTaskRun&)>& m_onProgress;
    SZelTaskRun m_run;
    std::uint64_t m_nLow = 0;
    std::uint64_t m_nHigh = 100;
    std::uint64_t m_nPosition = 0;
    std::int32_t m_nStep = 1;
};
