#include "apps/zel-server/ServerHost.h"

#include "apps/zel-server/OperatorText.h"
#include "framework/CrashReport.h"
#include "framework/Log.h"

#include "ServerTexts.h"

CServerHost::CServerHost(const CServerMessages& messages, const SServerOptions& options)
    : m_messages(messages), m_bTellsQuestions(options.strict), m_pPrevious(SetWQ_Host(this))
{}

CServerHost::~CServerHost()
{
    SetWQ_Host(m_pPrevious);
}

void CServerHost::ReportError(const SWQ_ErrorReport& report)
{
    SWQ_ErrorReport told = report;
    if (!m_messages.TellsPlaces()) {
        told.function.clear();
        told.message = OperatorText(report.function, report.message);
    }
    CWQ_DefaultHost::ReportError(told);
}

int CServerHost::ShowMessage(const std::wstring& text, unsigned style, unsigned flags)
{
    return CWQ_DefaultHost::ShowMessage(m_messages.TellsPlaces() ? text : OperatorText({}, text), style, flags);
}

int CServerHost::AskMessage(const std::wstring& text, unsigned style, int defaultAnswer, unsigned flags)
{
    if (m_bTellsQuestions)
        return CWQ_DefaultHost::AskMessage(text, style, defaultAnswer, flags);
    Brel::Log::Write(*Brel::Log::Get("zel-server"), Brel::Log::eLogLevel_Debug, ZEL_SOURCE_LOCATION, text);
    return defaultAnswer;
}

void CServerHost::TellEnd(const platform::SFaultRecord& fault)
{
    SMOXCrashRecord record;
    record.size = sizeof record;
    record.exceptionPointers = &fault;
    const int written = CWQ_DefaultHost::GenerateErrorReport(record);
    const std::wstring kind = platform::FaultKindName(fault.kind);
    m_messages.Error(written == 1
                         ? WQ_ModuleText(ServerTexts::IDS_ENDED_BY_PLUGIN, {kind, MOXCrashRpt::LastReportPath()})
                         : WQ_ModuleText(ServerTexts::IDS_ENDED_BY_PLUGIN_UNREPORTED, {kind}));
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
