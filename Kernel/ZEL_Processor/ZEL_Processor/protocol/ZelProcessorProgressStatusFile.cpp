#include "ZelProcessorProgressStatusFile.h"

#include "StatusFileText.h"
#include "framework/CrashReport.h"

#include <utility>

CZelProcessorProgressStatusFile::CZelProcessorProgressStatusFile(CString loggerName, CString statusFilePath,
                                                                 const std::atomic<bool>* pGoOn)
    : CZelProcessorRequestStatusFile(std::move(loggerName), std::move(statusFilePath), pGoOn)
{}

CZelProcessorProgressStatusFile::~CZelProcessorProgressStatusFile() = default;

bool CZelProcessorProgressStatusFile::WriteStatus(eZelProcRequestStatus status)
{
    m_eStatus = status;
    return WriteAll();
}

bool CZelProcessorProgressStatusFile::WriteStatusAndPercent(eZelProcRequestStatus status, std::int32_t percent)
{
    m_eStatus = status;
    m_nPercent = percent;
    return WriteAll();
}

bool CZelProcessorProgressStatusFile::WriteAll()
{
    CString told = EnumToName(m_eStatus, GetRequestStatusNames()) + L" (" + std::to_wstring(m_eStatus) + L")";
    if (m_nPercent >= 0)
        told += L", " + std::to_wstring(m_nPercent) + L"%";
    MOXCrashRpt::CScopedSubject::SetState(told, m_strComment); // should the task crash
    CString text = StatusFileText::StatusLine(m_eStatus) +
                   StatusFileText::KeyLine(StatusFileText::kProgressPercent, std::to_wstring(m_nPercent));
    if (!m_strComment.empty())
        text += StatusFileText::KeyLine(StatusFileText::kProgressComment, m_strComment);
    return WriteText(text);
}

void CZelProcessorProgressStatusFile::SetRange(std::uint64_t low, std::uint64_t high)
{
    m_nRangeLow = low;
    m_nRangeHigh = high;
    m_nPosition = 0;
    PublishPercent();
}

void CZelProcessorProgressStatusFile::SetPos(std::uint64_t position)
{
    m_nPosition = position;
    PublishPercent();
}

void CZelProcessorProgressStatusFile::SetStep(std::int32_t step)
{
    m_nStep = step;
}

void CZelProcessorProgressStatusFile::StepIt()
{
    // A negative step goes back: unsigned arithmetic wraps to the right position.
    SetPos(m_nPosition + static_cast<std::uint64_t>(static_cast<std::int64_t>(m_nStep)));
}

void CZelProcessorProgressStatusFile::SetComment(const wchar_t* comment)
{
    m_strComment = comment ? comment : L"";
    WriteAll();
}

void CZelProcessorProgressStatusFile::SetStatusAndComment(eZelProcRequestStatus status, const wchar_t* comment)
{
    m_eStatus = status;
    SetComment(comment);
}

void CZelProcessorProgressStatusFile::PublishPercent()
{
    if (m_eStatus == eRequestStatus_NotIntialized)
        m_eStatus = eRequestStatus_GettingData;
    WriteStatusAndPercent(m_eStatus, ZelPercent(m_nRangeLow, m_nRangeHigh, m_nPosition));
}
