#include "TaskProgress.h"

#include "framework/CrashReport.h"

void CTaskProgress::SetRange(std::uint64_t low, std::uint64_t high)
{
    m_nLow = low;
    m_nHigh = high;
    SetPos(0);
}

void CTaskProgress::SetPos(std::uint64_t position)
{
    m_nPosition = position;
    m_run.percent = ZelPercent(m_nLow, m_nHigh, position);
    Tell();
}

void CTaskProgress::SetComment(const wchar_t* comment)
{
    m_run.comment = comment != nullptr ? comment : L"";
    Tell();
}

void CTaskProgress::SetStatusAndComment(eZelProcRequestStatus status, const wchar_t* comment)
{
    m_run.status = status;
    SetComment(comment);
}

void CTaskProgress::Tell()
{
    // Should the task crash, the report says how far it was.
    MOXCrashRpt::CScopedSubject::SetState(EnumToName(m_run.status, GetRequestStatusNames()) + L", " +
                                              std::to_wstring(m_run.percent) + L"%",
                                          m_run.comment);
    if (m_onProgress)
        m_onProgress(m_run);
}
