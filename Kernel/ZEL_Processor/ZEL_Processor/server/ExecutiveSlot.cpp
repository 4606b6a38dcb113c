#include "ExecutiveSlot.h"
#include "ServerState.h"
#include "ZEL_Processor/ZelProcessor.h"
#include "framework/Exceptions.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "framework/WorkerThread.h"
#include "processor/IsolatedRunner.h"
#include "processor/ProcessorRunner.h"
#include "reports/SourceNames.h"

#include <new>
#include <utility>

CExecutiveSlot::CExecutiveSlot(CServerState& server, std::size_t number)
    : m_server(server),
      m_nNumber(number),
      m_executive(m_settings, server.m_requests, server.m_statuses, server.m_bRunning, number, &server.m_keptNames)
{}

CExecutiveSlot::~CExecutiveSlot() = default;

bool CExecutiveSlot::Prepare(const CServerSettings& settings, IRequestRunner* stepping, SSlotGates* gates)
{
    m_settings = settings;
    if (settings.Slots() > 1 && settings.m_pContext) {
        m_context.SetHost(settings.m_pContext);
        m_settings.m_pContext = &m_context;
    }
    try {
        m_pProcessor = std::make_unique<CZelProcessor>();
    } catch (const std::bad_alloc&) {
        AfxThrowMemoryException();
    }
    if (!MakeRunner(gates))
        return false;
    m_executive.SetRunner(m_pRunner.get(), stepping);
    if (!m_pProcessor->SetOutputDir(m_settings.m_paths.m_strOutputDir))
        return false;
    // Before the threads start, or a request that arrives at once would meet a processor without its context.
    m_pProcessor->SetEvent(m_settings.m_pEvent);
    m_pProcessor->SetContext(m_settings.m_pContext);
    m_pProcessor->SetTellReasons(m_settings.m_options.tellReasons);
    m_pProcessor->SetManualProceedQueue(m_settings.m_options.manual);
    return true;
}

bool CExecutiveSlot::MakeRunner(SSlotGates* gates)
{
    const SZelServerOptions& options = m_settings.m_options;
    CCallGate* const eventGate = gates ? &gates->event : nullptr;
    if (!options.isolation.isOn) {
        auto runner = std::make_unique<CProcessorRunner>(*m_pProcessor, m_executive.Remover(), options.leftOut);
        runner->SetEventGate(eventGate);
        if (gates)
            runner->SetPluginGate(&gates->plugins,
                                  [this, gates](const void* who) { return WaitForPlugins(gates->plugins, who); });
        m_pRunner = std::move(runner);
        return true;
    }
    if (CIsolatedRunner::FindProgram(options.isolation).empty()) {
        WQ_MessageBox(L"CZelProcessorServer::Run - the program zel-task-host, which isolated tasks run in, is missing",
                      eMessageStyle_Error);
        return false;
    }
    if (options.isolation.sandbox && m_nNumber == 0) {
        bool isWhole = false;
        const CString sandbox = CIsolatedRunner::SandboxText(options.isolation, isWhole);
        if (sandbox.empty()) {
            WQ_MessageBox(L"CZelProcessorServer::Run - this system has no sandbox for isolated tasks; Linux has",
                          eMessageStyle_Error);
            return false;
        }
        Brel::Log::Write(*Brel::Log::Get(kLoggerName),
                         isWhole ? Brel::Log::eLogLevel_Info : Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                         sandbox);
    }
    m_pRunner = std::make_unique<CIsolatedRunner>(
        *m_pProcessor, SIsolatedRunnerSetup{options.isolation, m_settings.m_paths.m_strOutputDir, options.tellReasons,
                                            options.leftOut, options.privateFiles, options.xmlLimits, options.grace,
                                            m_settings.m_pContext, m_server.m_bRunning, m_executive.Remover(),
                                            [this] { return m_server.m_requests.IsEndedByLimit(m_nNumber); }, eventGate,
                                            [this] {
                                                if (m_settings.m_pFigures)
                                                    m_settings.m_pFigures->CountTaskHostRestart();
                                            }});
    return true;
}

bool CExecutiveSlot::WaitForPlugins(CCallGate& gate, const void* who)
{
    m_server.m_requests.HoldTime(m_nNumber);
    const bool isIn = gate.Enter(who, [this] { return m_server.m_bRunning && !m_settings.m_pContext->IsCanceled(); });
    m_server.m_requests.BeginRunning(m_nNumber);
    return isIn;
}

bool CExecutiveSlot::MakesProgress()
{
    const std::uint32_t turns = m_executive.Turns();
    return std::exchange(m_nTurnsSeen, turns) != turns || m_executive.MayTakeLong();
}
