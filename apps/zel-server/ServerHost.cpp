#include "apps/zel-server/ServerHost.h"

#include "framework/CrashReport.h"

#include "ServerTexts.h"

CServerHost::CServerHost(const CServerMessages& messages) : m_messages(messages), m_pPrevious(SetWQ_Host(this)) {}

CServerHost::~CServerHost()
{
    SetWQ_Host(m_pPrevious);
}

int CServerHost::GenerateErrorReport(const SMOXCrashRecord& record)
{
    const int written = CWQ_DefaultHost::GenerateErrorReport(record);
    const std::wstring request = MOXCrashRpt::CScopedSubject::CurrentName();
    m_messages.Error(written == 1
                         ? WQ_ModuleText(ServerTexts::IDS_REQUEST_CRASHED, {request, MOXCrashRpt::LastReportPath()})
                         : WQ_ModuleText(ServerTexts::IDS_REQUEST_CRASHED_UNREPORTED, {request}));
    return written;
}
