#include "ProcessorState.h"
#include "RequestRun.h"

#include "framework/Exceptions.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "protocol/HandOver.h"
#include "reports/SourceNames.h"
#include "reports/StringCodes.h"

namespace {

/// SourceNames::kZelProcessor as the log takes it.
constexpr const char* kLogSource = "Kernel/ZEL_Processor/ZEL_Processor/ZelProcessor";

void LogHostFailure(std::wstring_view what)
{
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Error, ZEL_SOURCE_LOCATION,
                     std::wstring(L"The host's OnRequestDone threw an exception: ").append(what));
}

/// The request is done when the host is told so, whatever the host makes of it.
void TellRequestDone(CZelProcessorEvent& event)
{
    try {
        event.OnRequestDone();
    } catch (...) {
        LogHostFailure(WQ_ReasonOfException());
    }
}

} // namespace

void CZelProcessor::SState::TellDone()
{
    m_bToldDone = true;
    // A server that stops within the call of another thread takes the event away.
    if (m_pEventGate && !m_pEventGate->Enter(this, [this] { return m_pEvent != nullptr; }))
        return;
    if (CZelProcessorEvent* const event = m_pEvent)
        TellRequestDone(*event);
    LeaveEvent();
}

void CZelProcessor::SState::LeaveEvent()
{
    if (m_pEventGate)
        m_pEventGate->Leave(this);
}

CZelProcessor::CZelProcessor() : m_pState(std::make_unique<SState>())
{
    if (!m_pState->m_pFactories->LoadFactories()) {
        m_pState->m_pFactories.reset();
        ThrowNoFactory();
    }
}

CZelProcessor::CZelProcessor(const CZelProcessorFactories& factories) : m_pState(std::make_unique<SState>())
{
    for (std::size_t index = 0; index < factories.GetArray().GetCount(); ++index)
        m_pState->m_pFactories->Add(*CComPtr<IWQ_ZELProcessorFactory>(factories.GetArray().GetAt(index)));
}

CZelProcessor::~CZelProcessor() = default;

bool CZelProcessor::SetOutputDir(const CString& dir)
{
    if (!platform::DirectoryExists(dir))
        return false;
    m_pState->m_strOutputDir = dir;
    return true;
}

CString CZelProcessor::GetOutputFilePath(const CString& requestPath) const
{
    return platform::JoinPath(m_pState->m_strOutputDir, platform::FileNameOf(requestPath));
}

CString CZelProcessor::GetOutputStatusFilePath(const CString& requestPath) const
{
    return SProtocolPaths::StatusOf(GetOutputFilePath(requestPath));
}

void CZelProcessor::SetEvent(CZelProcessorEvent* event)
{
    m_pState->m_pEvent = event;
}

void CZelProcessor::SetContext(CZelProcessorContext* context)
{
    m_pState->m_pContext = context;
}

void CZelProcessor::SetTellReasons(bool tell)
{
    m_pState->m_reasons.isWanted = tell;
}

void CZelProcessor::SetManualProceedQueue(bool manual)
{
    const platform::CMutexLock lock(m_pState->m_cs);
    m_pState->m_bManualProceedQueue = manual;
}

bool CZelProcessor::IsManualProceedQueue() const
{
    const platform::CMutexLock lock(m_pState->m_cs);
    return m_pState->m_bManualProceedQueue;
}

void CZelProcessor::ProceedQueue(bool proceed)
{
    const platform::CMutexLock lock(m_pState->m_cs);
    m_pState->m_bProceedQueue = proceed;
}

bool CZelProcessor::CanProceedQueue() const
{
    const platform::CMutexLock lock(m_pState->m_cs);
    return !m_pState->m_bManualProceedQueue || m_pState->m_bProceedQueue;
}

void CZelProcessor::SetStatus(CZelProcessorProgress* progress, eZelProcRequestStatus status, const CString& text)
{
    progress->SetStatusAndComment(status, text.c_str());
    platform::SSourceLocation location = ZEL_SOURCE_LOCATION;
    location.file = kLogSource; // as in reports, wherever this is built
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Debug, location, text);
}

CString CZelProcessor::CreateErrorXmlString(const CString& text) const
{
    constexpr std::size_t kMaxExcerpt = 2048;
    return text.substr(0, kMaxExcerpt);
}

bool CZelProcessor::ProcessRequest(const CString& requestPath, CZelProcessorProgress* progress, bool bForce,
                                   bool& bRetry)
{
    m_pState->m_bToldDone = false;
    m_pState->m_strTaskType.clear();
    const CWQ_SetResource resource(kResourceModule);
    bRetry = false;
    const bool done = CRequestRun(*this, *m_pState->m_pFactories, m_pState->m_reasons, m_pState->m_pContext,
                                  m_pState->m_removeRequest, requestPath, progress)
                          .Run(bForce, bRetry);
    m_pState->m_pFactories->EndUse();
    if (!done)
        return false;
    m_pState->TellDone();
    return true;
}

bool CZelProcessor::HasToldDone() const
{
    return m_pState->m_bToldDone;
}
