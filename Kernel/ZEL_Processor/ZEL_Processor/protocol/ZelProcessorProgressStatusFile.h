#pragma once

#include "ZEL_Processor/ZelProcessorProgress.h"
#include "ZelProcessorRequestStatusFile.h"

/// Publishes the progress of one request in its status file. Keeps the last status, percent and comment, so every
/// rewrite carries all three, and one that failed is made up for by the next. One thread at a time.
class CZelProcessorProgressStatusFile final : public CZelProcessorRequestStatusFile, public CZelProcessorProgress {
public:
    CZelProcessorProgressStatusFile(CString loggerName, CString statusFilePath,
                                    const std::atomic<bool>* pGoOn = nullptr);
    ~CZelProcessorProgressStatusFile() override;

    /// Store the values and rewrite the whole file.
    bool WriteStatus(eZelProcRequestStatus status) override;
    bool WriteStatusAndPercent(eZelProcRequestStatus status, std::int32_t percent) override;
    bool WriteAll();

    void SetRange(std::uint64_t low, std::uint64_t high) override;
    void SetPos(std::uint64_t position) override;
    void SetStep(std::int32_t step) override;
    void StepIt() override;
    void SetComment(const wchar_t* comment) override;
    void SetStatusAndComment(eZelProcRequestStatus status, const wchar_t* comment) override;

    [[nodiscard]] eZelProcRequestStatus GetStatusValue() const { return m_eStatus; }
    [[nodiscard]] std::int32_t GetPercentValue() const { return m_nPercent; }
    [[nodiscard]] const CString& GetCommentValue() const { return m_strComment; }

private:
    void PublishPercent();

    eZelProcRequestStatus m_eStatus = eRequestStatus_NotIntialized;
    std::int32_t m_nPercent = -1;
    std::uint64_t m_nRangeLow = 0;
    std::uint64_t m_nRangeHigh = 100;
    std::uint64_t m_nPosition = 0;
    std::int32_t m_nStep = 1;
    CString m_strComment;
};
