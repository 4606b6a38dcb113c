#include "apps/zel/ToolHost.h"

#include "apps/common/CommandLine.h"
#include "framework/LogOptions.h"
#include "framework/Services.h"

CToolHost::CToolHost() : m_pPrevious(SetWQ_Host(this))
{
    Brel::Log::SLogOptions log;
    log.level = Brel::Log::eLogLevel_Warning;
    log.places = false;
    Brel::Log::Configure(log);
}

CToolHost::~CToolHost()
{
    SetWQ_Host(m_pPrevious);
}

void CToolHost::ReportError(const SWQ_ErrorReport& report)
{
    Tell(report.message);
}

int CToolHost::ShowMessage(const std::wstring& text, unsigned, unsigned)
{
    Tell(text);
    return eMessageAnswer_Ok;
}

void CToolHost::Tell(const std::wstring& text) const
{
    if (!m_bMuted)
        PrintError(L"zel", text);
}
