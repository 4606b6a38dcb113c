
#include "ServerState.h"
#include "LeftStatuses.h"
#include "ZEL_Processor/ZelProcessor.h"
#include "framework/Exceptions.h"
#include "framework/Services.h"
#include "framework/WorkerThread.h"
#include "platform/Installation.h"
#include "platform/NameKind.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/Thread.h"
#include "processor/ThreadCom.h"
#include "processor/ZelProcessorFactories.h"
#include "protocol/HeldFile.h"
#include "protocol/ProtocolFiles.h"
#include "reports/SourceNames.h"

#include <chrono>
#include <exception>
#include <new>

using namespace std::chrono_literals;

namespace {

constexpr std::uint32_t kStartTimeoutMs = 10001;
constexpr auto kStartPoll = 200ms;
constexpr long kLineThreadFailed = 90;

/// The directory without one separator at its end; a second one stays.
CString WithoutSeparator(const CString& dir)
{
    if (!dir.empty() && platform::IsPathSeparator(dir.back()))
        return dir.substr(0, dir.size() - 1);
    return dir;
}

/// The palette of the first factory that has one; empty when none does.
CComPtr<IWQ_Palette> FindPalette(const CZelProcessorFactories& factories)
{
    const auto& array = factories.GetArray();
    for (std::size_t index = 0; index < array.GetCount(); ++index) {
        const CComPtr<IWQ_ZELProcessorFactory> factory(array.GetAt(index));
        if (CComPtr<IWQ_Palette> palette = factory.QueryTo<IWQ_Palette>())
            return palette;
    }
    return {};
}

/// What is known of the exception that is being handled.
CString ReasonOfException()
{
    try {
        throw;
    } catch (const CException& exception) {
        return exception.GetErrorMessage();
    } catch (const std::exception& exception) {
        return platform::FromUtf8(exception.what());
    } catch (...) {
        return L"unknown exception";
    }
}

/// Reports the exception that ended a thread. Where memory ran out this may fail as well, and must not end the process.
void ReportThreadFailure(const char* name) noexcept
{
    try {
        WQ_ReportErrorNow(SourceNames::kZelProcessorServer, kLineThreadFailed, L"C" + platform::FromUtf8(name),
                          ReasonOfException());
    } catch (...) {
        return;
    }
}

} // namespace

CServerState::CServerState()
    : m_pLeftStatuses(std::make_unique<CLeftStatuses>()),
      m_pPassedOver(std::make_unique<HeldFile::CPassedOver>()),
      m_queue(std::make_unique<CRequestQueue>(false)),
      m_paused(std::make_unique<CRequestQueue>(false)),
      m_evQueue(std::make_unique<platform::CManualResetEvent>()),
      m_evStop(std::make_unique<platform::CManualResetEvent>()),
      m_evListening(std::make_unique<platform::CManualResetEvent>())
{
    CZelProcessorFactories factories;
    if (!factories.LoadFactories())
        ThrowNoFactory();
    m_pPalette = FindPalette(factories);
}

CServerState::~CServerState()
{
    if (m_pMHThread)
        Stop(true);
}

bool CServerState::SetDirs(const CString& requestDir, const CString& outputDir)
{
    if (!platform::DirectoryExists(requestDir))
        return false;
    m_strRequestDir = WithoutSeparator(requestDir);
    if (!platform::DirectoryExists(outputDir))
        return false;
    m_strOutputDir = WithoutSeparator(outputDir);

    const CString queueDir = platform::JoinPath(m_strOutputDir, Protocol::kQueueDirectory);
    if (!platform::DirectoryExists(queueDir) && !platform::Succeeded(platform::Files().MakeDirectory(queueDir))) {
        WQ_MessageBox(L"CZelProcessorServer::SetDirs - creating Queue directory failed", eMessageStyle_Error);
        return false;
    }
    // Whoever may create names in the output directory could have put it there, to have files elsewhere deleted.
    if (const platform::eOsError error = platform::CheckOwnDirectory(queueDir); !platform::Succeeded(error)) {
        WQ_MessageBox(L"CZelProcessorServer::SetDirs - the Queue directory is not safe\n" + queueDir + L": " +
                          platform::OsErrorText(error),
                      eMessageStyle_Error);
        return false;
    }
    // What waits in it is nobody's but this server's. Where this fails it belongs to an administrator, who knows.
    static_cast<void>(platform::KeepOthersFromWriting(queueDir));
    m_strQueueDir = queueDir;
    Protocol::DeleteAllFilesInDir(m_strOutputDir);
    Protocol::DeleteAllFilesInDir(m_strQueueDir);

    {
        const std::lock_guard lock(m_cs);
        m_queue = std::make_unique<CRequestQueue>(m_options.takeTurns);
        m_paused = std::make_unique<CRequestQueue>(false);
    }
    m_refused.clear();
    m_pLeftStatuses->ForgetAll();
    const std::lock_guard notify(m_csNotify);
    m_lockedOut.clear();
    m_heldEvents.clear();
    m_pendingEvents.clear();
    m_pendingGroups.clear();
    const std::lock_guard lock(m_csClients);
    m_clients.clear();
    m_clientsOfOwner.clear();
    m_leftEventsFiles.clear();
    return true;
}

bool CServerState::Run()
{
    if (m_bRunning || !EndEarlierRun())
        return false;
    try {
        m_pProcessor = std::make_unique<CZelProcessor>();
    } catch (const std::bad_alloc&) {
        AfxThrowMemoryException();
    }
    if (!m_pProcessor->SetOutputDir(m_strOutputDir))
        return false;
    // Before the threads start, or a request that arrives at once would meet a processor without its context.
    m_pProcessor->SetEvent(m_pEvent);
    m_pProcessor->SetContext(m_pContext);

    m_evStop->Reset();
    m_evListening->Reset();
    m_bFailed = false;
    const std::uint32_t start = platform::Clock().TickCount();
    m_pMHThread = AfxBeginThread(&CServerState::MessageHandlingThread, this);
    if (!m_pMHThread)
        return false;
    // The listener's event ends the wait early: 200 ms are the step of the time-out, not the price of a start.
    while (!m_evListening->WaitFor(kStartPoll)) {
        if (platform::Clock().TickCount() - start >= kStartTimeoutMs)
            return false;
    }
    return m_bNoExecutiveThread || StartExecutiveThread();
}

/// A run that was stopped without waiting, or gave up, may have its threads still, and they use what Run makes anew.
bool CServerState::EndEarlierRun()
{
    if (!m_pMHThread)
        return true;
    EndListener();
    for (std::unique_ptr<CWQ_Thread>* thread : {&m_pMHThread, &m_pEThread}) {
        if (*thread && !(*thread)->WaitFor(std::chrono::milliseconds(kStartTimeoutMs)))
            return false;
    }
    m_pMHThread.reset();
    m_pEThread.reset();
    return true;
}

bool CServerState::StartExecutiveThread()
{
    m_pEThread = AfxBeginThread(&CServerState::ExecutiveThread, this);
    if (!m_pEThread)
        EndListener(); // nobody would take what it queues
    return m_pEThread != nullptr;
}

void CServerState::Stop(bool bWait)
{
    if (!m_pMHThread)
        return;
    EndListener();
    if (bWait) {
        if (!m_pMHThread->Wait())
            WQ_MessageBox(L"Something went wrong with m_pMHThread thread!", eMessageStyle_Error);
        if (m_pEThread && !m_pEThread->Wait())
            WQ_MessageBox(L"Something went wrong with m_pEThread thread!", eMessageStyle_Error);
        m_pMHThread.reset();
        m_pEThread.reset();
    }
    if (m_pProcessor)
        m_pProcessor->SetEvent(nullptr);
}

bool CServerState::MakesProgress()
{
    const std::uint32_t listener = m_nListenerTurns;
    const std::uint32_t executive = m_nExecutiveTurns;
    const bool listens = std::exchange(m_nListenerTurnsSeen, listener) != listener;
    const bool executes = std::exchange(m_nExecutiveTurnsSeen, executive) != executive;
    return !m_bRunning || (listens && (executes || m_bExecutiveMayTakeLong || m_bNoExecutiveThread));
}

/// A thread procedure: the body's failure, or an exception that leaves it, becomes the exit code 1.
unsigned CServerState::RunThread(const char* name, bool (CServerState::*body)())
{
    platform::SetCurrentThreadName(name);
    SetXmlLimitsOfThread(m_options.xmlLimits);
    const CThreadCom com;
    try {
        return (this->*body)() ? 0 : 1;
    } catch (const CNotSupportedException&) {
        EndFailed(); // reported where it was thrown
    } catch (...) {
        EndFailed();
        ReportThreadFailure(name);
    }
    TellFailed();
    return 1;
}

/// Half a server serves nobody and looks alive: when one thread fails, both end.
void CServerState::EndFailed() noexcept
{
    EndListener();
    const std::lock_guard lock(m_cs);
    m_evQueue->Set();
}

void CServerState::TellFailed()
{
    // A server that never accepted anything is told of by Run.
    if (m_evListening->IsSet() && !m_bFailed.exchange(true) && m_options.failed)
        m_options.failed(m_options.failedContext);
}

unsigned CServerState::MessageHandlingThread(void* server)
{
    return static_cast<CServerState*>(server)->RunThread("ZelProcessorServer::MessageHandling", &CServerState::Listen);
}

unsigned CServerState::ExecutiveThread(void* server)
{
    return static_cast<CServerState*>(server)->RunThread("ZelProcessorServer::Executive", &CServerState::ProcessQueue);
}
