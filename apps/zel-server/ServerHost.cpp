#include "apps/zel-server/ServerHost.h"

#include "framework/CrashReport.h"

CServerHost::CServerHost(const CServerMessages& messages) : m_messages(messages), m_pPrevious(SetWQ_Host(this)) {}

CServerHost::~CServerHost()
{
    SetWQ_Host(m_pPrevious);
}

int CServerHost::GenerateErrorReport(const SMOXCrashRecord& record)
{
    const int written = CWQ_DefaultHost::GenerateErrorReport(record);
    const std::wstring request = L"the request '" + MOXCrashRpt::CScopedSubject::CurrentName() + L"' crashed; ";
    if (written == 1)
        m_messages.Error(request + L"its crash report is " + MOXCrashRpt::LastReportPath());
    else
        m_messages.Error(request + L"no crash report could be written, the log tells why");
    return written;
}
