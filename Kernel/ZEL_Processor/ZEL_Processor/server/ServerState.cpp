#include "ServerState.h"
#include "FailedRequests.h"
#include "OperatorCommands.h"
#include "QueueHold.h"
#include "RecordFolder.h"
#include "Resume.h"
#include "SlotRecords.h"
#include "ZEL_Processor/ZelProcessor.h"
#include "com/ComError.h"
#include "com/ComThread.h"
#include "framework/Exceptions.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "framework/WorkerThread.h"
#include "platform/Installation.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/Thread.h"
#include "processor/ZelProcessorFactories.h"
#include "protocol/HandOver.h"
#include "reports/ReportLines.h"
#include "reports/SourceNames.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>

using namespace std::chrono_literals;

namespace {

constexpr std::uint32_t kStartTimeoutMs = 10001;
constexpr auto kStartPoll = 200ms;

/// Whose thread this is, if a server's.
thread_local const CServerState* t_pServer = nullptr;

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

/// Reports the exception that ended a thread. Where memory ran out this may fail as well, and must not end the process.
void ReportThreadFailure(const char* name) noexcept
{
    try {
        WQ_ReportErrorNow(SourceNames::kZelProcessorServer, ReportLines::kThreadFailed, L"C" + platform::FromUtf8(name),
                          WQ_ReasonOfException());
    } catch (...) {
        return;
    }
}

} // namespace

CServerState::CServerState()
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
    m_settings.m_paths.m_strRequestDir = WithoutSeparator(requestDir);
    if (!platform::DirectoryExists(outputDir))
        return false;
    m_settings.m_paths.m_strOutputDir = WithoutSeparator(outputDir);

    const CString queueDir = SProtocolPaths::QueueDirOf(m_settings.m_paths.m_strOutputDir);
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
    m_settings.m_paths.m_strQueueDir = queueDir;
    if (!m_settings.m_options.resume) {
        Protocol::DeleteAllFilesInDir(m_settings.m_paths.m_strOutputDir);
        Protocol::DeleteAllFilesInDir(m_settings.m_paths.m_strQueueDir);
    }
    m_figures.Clear();
    m_settings.m_pFigures = m_settings.m_options.figures ? &m_figures : nullptr;
    m_registry.SetFigures(m_settings.m_pFigures);
    m_requests.Clear(m_settings.m_options.takeTurns, m_settings.m_options.fair, m_settings.m_options.retryBackOff);
    CQueueHold(m_settings, m_requests).TakeOver();
    CFailedRequests(m_settings).TakeOver();
    COperatorCommands::ForgetDrain(m_settings);
    m_listener.Refusals().Clear();
    m_statuses.Left().ForgetAll();
    m_registry.Clear();
    m_registry.SetTold(m_settings.m_options.tellStory);
    m_notifier.Clear();
    return !m_settings.m_options.resume || Resume();
}

bool CServerState::Resume()
{
    platform::eOsError error = MakeOwnFolder(m_settings.m_paths.InOwnFolder({}));
    m_registry.SetRecords(&m_clientRecords);
    if (platform::Succeeded(error))
        error = CResume(m_settings, m_requests, m_statuses, m_registry).Run();
    if (!platform::Succeeded(error))
        WQ_MessageBox(L"CZelProcessorServer::SetDirs - what an earlier server left cannot be taken over\n" +
                          m_settings.m_paths.m_strOutputDir + L": " + platform::OsErrorText(error),
                      eMessageStyle_Error);
    return platform::Succeeded(error);
}

void CServerState::SetContext(CZelProcessorContext* context)
{
    m_settings.m_pContext = context;
    m_requests.SetContext(context);
}

bool CServerState::Run()
{
    if (m_bRunning || !EndEarlierRun())
        return false;
    if (!PrepareSlots())
        return false;
    m_listener.Prepare();
    m_bFailed = false;
    const std::uint32_t start = platform::Clock().TickCount();
    m_pMHThread = AfxBeginThread(&CServerState::MessageHandlingThread, this);
    if (!m_pMHThread)
        return false;
    // The listener's event ends the wait early: 200 ms are the step of the time-out, not the price of a start.
    while (!m_listener.WaitUntilListening(kStartPoll)) {
        if (platform::Clock().TickCount() - start >= kStartTimeoutMs)
            return false;
    }
    return m_settings.m_bNoExecutiveThread || StartExecutiveThreads();
}

bool CServerState::PrepareSlots()
{
    const std::size_t count = m_settings.Slots();
    while (m_slots.size() < count)
        m_slots.push_back(std::make_unique<CExecutiveSlot>(*this, m_slots.size()));
    std::vector<CZelProcessorContext*> contexts;
    for (std::size_t number = 0; number < count; ++number) {
        if (!m_slots[number]->Prepare(m_settings, number == 0 ? nullptr : m_slots.front()->m_pRunner.get(),
                                      count == 1 ? nullptr : &m_gates))
            return false;
        contexts.push_back(m_slots[number]->Context());
    }
    m_requests.SetSlots(contexts);
    CSlotRecords(m_settings).Clear();
    return true;
}

/// A run that was stopped without waiting, or gave up, may have its threads still, and they use what Run makes anew.
bool CServerState::EndEarlierRun()
{
    if (!m_pMHThread)
        return true;
    m_listener.EndListener();
    std::vector<std::unique_ptr<CWQ_Thread>*> threads{&m_pMHThread};
    for (const auto& slot : m_slots)
        threads.push_back(&slot->m_pThread);
    for (const auto* thread : threads) {
        if (*thread && !(*thread)->WaitFor(std::chrono::milliseconds(kStartTimeoutMs)))
            return false;
    }
    for (auto* thread : threads)
        thread->reset();
    return true;
}

bool CServerState::StartExecutiveThreads()
{
    for (std::size_t number = 0; number < m_settings.Slots(); ++number) {
        CExecutiveSlot& slot = *m_slots[number];
        slot.m_pThread = AfxBeginThread(&CServerState::ExecutiveThread, &slot);
        if (!slot.m_pThread) {
            m_listener.EndListener(); // nobody would take what it queues
            return false;
        }
    }
    return true;
}

bool CServerState::HasExecutiveThread() const
{
    return std::ranges::any_of(m_slots, [](const auto& slot) { return slot->m_pThread != nullptr; });
}

void CServerState::Stop(bool bWait)
{
    if (!m_pMHThread)
        return;
    m_listener.EndListener();
    if (bWait) {
        if (!m_pMHThread->Wait())
            WQ_MessageBox(L"Something went wrong with m_pMHThread thread!", eMessageStyle_Error);
        WaitForExecutives();
        m_pMHThread.reset();
        for (const auto& slot : m_slots)
            slot->m_pThread.reset();
        // Nobody would tell who waits for them any more.
        if (m_settings.m_options.retryLastStatus)
            TryLastStatuses();
    }
    TakeEventAway();
}

void CServerState::TakeEventAway()
{
    for (const auto& slot : m_slots) {
        if (slot->m_pProcessor)
            slot->m_pProcessor->SetEvent(nullptr);
    }
}

void CServerState::WaitForExecutives()
{
    const bool isOwnThread = t_pServer == this;
    if (isOwnThread && m_settings.Slots() > 1)
        TakeEventAway(); // others may wait until this very call of the host's is over
    for (const auto& slot : m_slots) {
        // The listener, which has ended, has watched how long what runs takes.
        while (slot->m_pThread && !isOwnThread && !slot->m_pThread->WaitFor(m_listener.Limits().UntilCheck()))
            m_listener.Limits().Check();
        if (slot->m_pThread && !slot->m_pThread->Wait())
            WQ_MessageBox(L"Something went wrong with m_pEThread thread!", eMessageStyle_Error);
    }
}

void CServerState::TryLastStatuses()
{
    m_statuses.Left().TryToTheLast();
    for (const CString& path : m_statuses.Left().Paths())
        Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                         L"The server stops while a status still has to wait for its file: " + path);
}

bool CServerState::MakesProgress()
{
    const std::uint32_t listener = m_listener.Turns();
    const bool listens = std::exchange(m_nListenerTurnsSeen, listener) != listener;
    bool executes = m_slots.size() >= m_settings.Slots();
    for (std::size_t number = 0; executes && number < m_settings.Slots(); ++number)
        executes = m_slots[number]->MakesProgress();
    return !m_bRunning || (listens && (executes || m_settings.m_bNoExecutiveThread));
}

void CServerState::OnChangedDs(IWQ_DsEventsData* events)
{
    if (!m_pPalette)
        throw CComError(E_POINTER);
    if (m_settings.m_pFigures)
        m_settings.m_pFigures->CountEvent();
    m_notifier.TellChange(*m_pPalette, m_pProject.Get(), events);
}

/// A thread procedure: the body's failure, or an exception that leaves it, becomes the exit code 1.
unsigned CServerState::RunThread(const char* name, const std::function<bool()>& body)
{
    platform::SetCurrentThreadName(name);
    t_pServer = this;
    SetXmlLimitsOfThread(m_settings.m_options.xmlLimits);
    const CComThread com(CComThread::eEnd_WhenFresh);
    try {
        return body() ? 0 : 1;
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
    m_listener.EndListener();
    m_requests.Wake();
}

void CServerState::TellFailed()
{
    // A server that never accepted anything is told of by Run.
    if (m_listener.IsListening() && !m_bFailed.exchange(true) && m_settings.m_options.failed)
        m_settings.m_options.failed(m_settings.m_options.failedContext);
}

unsigned CServerState::MessageHandlingThread(void* server)
{
    auto* const self = static_cast<CServerState*>(server);
    return self->RunThread("ZelProcessorServer::MessageHandling", [self] { return self->m_listener.Listen(); });
}

unsigned CServerState::ExecutiveThread(void* slot)
{
    auto* const self = static_cast<CExecutiveSlot*>(slot);
    std::string name = "ZelProcessorServer::Executive";
    if (self->m_nNumber != 0)
        name += std::to_string(self->m_nNumber + 1);
    return self->m_server.RunThread(name.c_str(), [self] { return self->m_executive.ProcessQueue(); });
}
