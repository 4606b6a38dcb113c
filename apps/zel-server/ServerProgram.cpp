#include "apps/zel-server/ServerProgram.h"

#include "apps/common/ExitCodes.h"
#include "apps/zel-server/LibraryOptions.h"
#include "apps/zel-server/ServerPlugins.h"
#include "apps/zel-server/ServerStory.h"
#include "framework/Exceptions.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/PrivateFiles.h"
#include "platform/Text.h"

#include "ServerTexts.h"

#include <algorithm>
#include <exception>
#include <utility>

using namespace std::chrono_literals;

namespace {

/// How exactly it is known when a server was killed. Written are some bytes that nobody syncs.
constexpr auto kShowAlive = 10s;

} // namespace

CServerProgram::CServerProgram(const SServerOptions& options)
    : m_options(options),
      m_inForce(options),
      m_signals(options.manual ? platform::eSignalSet_SteppedServer : platform::eSignalSet_Server),
      m_started(platform::Clock().UtcSeconds())
{}

CServerProgram::~CServerProgram()
{
    // As in Stop, which an exception may have left out.
    if (m_pServer)
        m_pServer->Stop(false);
}

int CServerProgram::Run()
{
    if (!m_messages.Open(m_options))
        return eExitCode_ClientError;
    const auto tellEnd = [this](const platform::SFaultRecord& fault) { m_host.TellEnd(fault); };
    if (!m_options.strict)
        m_pStrayFaults = std::make_unique<platform::CStrayFaults>(tellEnd, CServerHost::kReportTime);
    LimitQueries();
    if (m_options.drain)
        return DrainOther();
    AddComponents();
    if (!Start())
        return m_bStoppedEarly ? eExitCode_Done : eExitCode_ClientError;
    if (!m_options.strict)
        m_pExitGuard = std::make_unique<CExitGuard>(tellEnd, CServerHost::kReportTime, eExitCode_ClientError);
    if ((!m_options.strict && !StartLooking()) || !StartFigures())
        return eExitCode_ClientError;
    TellReady();
    ServeUntilStop();
    m_context.SetClosing();
    if (m_pLook)
        m_pLook->End();
    m_bToldFailure |= m_bLostDirectories;
    TellFailure(); // before the stop, which may take long
    const std::wstring cause = m_bDrained ? L"it was drained" : m_signals.Cause();
    TellStory(m_options, L"The server stops: " + (m_bToldFailure ? L"it has failed" : cause));
    Stop();
    TellStory(m_options, L"The server has stopped");
    TellFailure(); // in case it failed while it stopped
    return m_bToldFailure ? eExitCode_ClientError : eExitCode_Done;
}

void CServerProgram::TellFailure()
{
    if (m_pServer->HasFailed() && !std::exchange(m_bToldFailure, true))
        m_messages.Error(WQ_ModuleText(ServerTexts::IDS_SERVER_FAILED));
}

/// The main thread waits for a signal, and does the rest. A server that is stopping has been told to: one more signal
/// would cancel its request.
void CServerProgram::EndAfterFailure()
{
    if (!m_context.IsClosing())
        m_signals.RequestStop();
}

void CServerProgram::EndDrained()
{
    m_bDrained = true;
    EndAfterFailure(); // in the same way
}

void CServerProgram::LimitQueries()
{
    // Like the folder of the data, which is the data store's too: plug-ins have the environment, and no command line.
    platform::SetEnvironment(kQueryTimeVariable, QueryTimeLimit(m_options, platform::Environment(kQueryTimeVariable)));
}

void CServerProgram::AddComponents()
{
    m_leftOut = AddServerPlugins(m_options);
    for (const std::wstring& error : m_leftOut)
        m_messages.Error(WQ_ModuleText(ServerTexts::IDS_LEFT_OUT, {error}));
}

bool CServerProgram::Start()
{
    std::wstring error;
    if (!TakeDirectories())
        return false;
    // Before the directories are cleared comes whatever can fail: a start that fails must not delete anything.
    if (!MakeServer() || !ProvideProject())
        return false;
    if (!CFigureKeeper::Prepare(m_options, error)) {
        m_messages.Error(error);
        return false;
    }
    TellStart(m_options);
    if (m_options.strict && m_options.resume)
        m_messages.Note(WQ_ModuleText(ServerTexts::IDS_STRICT_NOT_RESUMED, {m_options.outputDir}));
    m_directories.Tidy();
    if (!CServerDirectories::Try(m_options, error)) {
        m_messages.Error(error);
        return false;
    }
    SZelServerOptions options = LibraryOptions(m_options);
    options.failed = [](void* program) { static_cast<CServerProgram*>(program)->EndAfterFailure(); };
    options.failedContext = this;
    options.drained = [](void* program) { static_cast<CServerProgram*>(program)->EndDrained(); };
    options.drainedContext = this;
    if (options.tellReasons)
        options.leftOut = m_leftOut;
    m_pServer->SetOptions(options);
    if (!m_pServer->SetDirs(m_options.requestDir, m_options.outputDir)) {
        m_messages.Error(WQ_ModuleText(ServerTexts::IDS_QUEUE_NOT_MADE, {m_options.outputDir}));
        return false;
    }
    // Not before, or clients could not see what waits in the folder Queue.
    if (m_options.privateFiles)
        platform::KeepNewFilesPrivate();
    m_pServer->SetZelProcessorContext(&m_context);
    m_pServer->SetNoExecutiveThread(m_options.noExecutive);
    if (!m_pServer->Run()) {
        m_messages.Error(WQ_ModuleText(ServerTexts::IDS_NOT_STARTED));
        return false;
    }
    m_pFeed = std::make_unique<CEventFeed>(*m_pServer);
    m_pFeed->Start();
    // Files that lay in the request directory before are found at the first change there, whoever makes it. This worked
    // a moment ago; ending now that the directories are cleared would help nobody.
    if (!CServerDirectories::Touch(m_options.requestDir, error))
        m_messages.Error(error);
    Publish();
    return true;
}

void CServerProgram::Publish(std::int64_t ended)
{
    if (m_options.strict)
        return;
    SZelServerInfo info;
    info.process = platform::CurrentProcessId();
    info.started = m_started;
    info.ended = ended;
    info.version = platform::FromUtf8(ZEL_VERSION);
    SServerOptions options = OptionsInForce(InForce(), platform::Environment(kQueryTimeVariable));
    if (options.service == eServiceAction_None)
        options.serviceName.clear(); // means nothing then
    info.options = ServerArguments(options);
    info.leftOut = m_leftOut;
    static_cast<void>(m_pServer->PublishInfo(info)); // the log has it
}

bool CServerProgram::MakeServer()
{
    try {
        m_pServer = std::make_unique<CZelProcessorServer>();
        return true;
    } catch (const CUserException&) {
        m_messages.Error(WQ_ModuleText(ServerTexts::IDS_NO_PLUGIN));
        return false;
    }
}

bool CServerProgram::ProvideProject()
{
    // In the folder of the claim: the start of a server deletes the files of the output directory alone, and what a
    // project keeps must outlive a restart.
    CComPtr<IWQ_Project> project;
    const HRESULT created = CreateWQ_Project(
        platform::JoinPath(CServerDirectories::OwnFolder(m_options.outputDir), L"project"), project.Put());
    if (FAILED(created)) {
        m_messages.Error(WQ_ModuleText(ServerTexts::IDS_PROJECT_NOT_MADE, {m_options.outputDir}));
        return false;
    }
    m_pServer->SetProject(project.Get());
    return true;
}

void CServerProgram::TellReady()
{
    TellStory(m_options, L"Ready: requests are accepted");
    static_cast<void>(platform::NotifyServiceManager("READY=1"));
    // Nobody has to listen.
    static_cast<void>(platform::WriteConsoleText(platform::eStream_Output, L"zel-server: ready\n"));
}

void CServerProgram::ServeUntilStop()
{
    const std::chrono::milliseconds watchdog = platform::WatchdogInterval();
    const std::chrono::milliseconds step = watchdog.count() > 0 ? std::max(watchdog / 2, 1ms) : 1h;
    int stalledSteps = 0;
    auto next = platform::Clock().Steady() + step; // whatever comes before, or signals could put it off for ever
    for (;;) {
        platform::eProgramSignal received = platform::eProgramSignal_Stop;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - platform::Clock().Steady());
        if (left.count() <= 0 || !m_signals.WaitFor(left, received)) {
            stalledSteps = watchdog.count() == 0 || FeedWatchdog() ? 0 : stalledSteps + 1;
            // The manager's own patience ends now; it is told, for not every one has any.
            if (stalledSteps == 2)
                static_cast<void>(platform::NotifyServiceManager("WATCHDOG=trigger"));
            next = platform::Clock().Steady() + step; // from here, so that signals are heard in between
            continue;
        }
        if (received == platform::eProgramSignal_Stop)
            return;
        CarryOut(received);
    }
}

void CServerProgram::CarryOut(platform::eProgramSignal received)
{
    if (received == platform::eProgramSignal_Reload)
        Reload();
    else if (m_options.manual)
        m_pServer->ProceedQueue();
    else
        m_messages.Note(WQ_ModuleText(ServerTexts::IDS_STEP_IGNORED));
}

bool CServerProgram::StartLooking()
{
    m_pLook = std::make_unique<CRepeatedLook>();
    const bool started = m_pLook->Start([this] { return LookAfterDirectories(); });
    if (!started)
        m_messages.Error(WQ_ModuleText(ServerTexts::IDS_NOT_STARTED));
    return started;
}

bool CServerProgram::StartFigures()
{
    if (!LibraryOptions(m_options).figures)
        return true;
    m_pFigures = std::make_unique<CFigureKeeper>(m_options, *m_pServer, m_messages, m_leftOut);
    const bool started = m_pFigures->Start();
    if (!started)
        m_messages.Error(WQ_ModuleText(ServerTexts::IDS_NOT_STARTED));
    return started;
}

bool CServerProgram::LookAfterDirectories()
{
    eDirectoriesState state = eDirectoriesState_Lost;
    try {
        LookAndRemake(state);
    } catch (const std::exception& exception) {
        m_messages.Error(platform::FromUtf8(exception.what()));
        state = eDirectoriesState_Lost;
    }
    if (state != eDirectoriesState_Lost)
        return true;
    m_bLostDirectories = true;
    EndAfterFailure();
    return false;
}

void CServerProgram::LookAndRemake(eDirectoriesState& state)
{
    std::wstring text;
    state = m_directories.Look(text);
    if (state != eDirectoriesState_Fine)
        m_messages.Error(text);
    if (state == eDirectoriesState_Remade) {
        // What lies in the request directory was looked at in vain meanwhile.
        if (!CServerDirectories::Touch(m_options.requestDir, text))
            m_messages.Error(text);
        m_bPublishes = true;
    }
    if (m_bPublishes.exchange(false))
        Publish();
    if (const auto now = platform::Clock().Steady(); now - m_shownAlive >= kShowAlive) {
        m_directories.ShowAlive();
        m_shownAlive = now;
    }
}

bool CServerProgram::FeedWatchdog()
{
    if (m_pServer->MakesProgress()) {
        static_cast<void>(platform::NotifyServiceManager("WATCHDOG=1"));
        return true;
    }
    m_messages.Error(WQ_ModuleText(ServerTexts::IDS_STALLED));
    return false;
}

void CServerProgram::Stop()
{
    if (platform::WatchdogInterval().count() > 0)
        static_cast<void>(platform::NotifyServiceManager("WATCHDOG=1")); // the last: a stop has a time of its own
    static_cast<void>(platform::NotifyServiceManager("STOPPING=1"));
    m_pStopSupervisor = std::make_unique<CStopSupervisor>(m_signals, m_context, m_messages, InForce());
    // First, so that a notification which waits for a stranger gives up: stopping the feed waits for it.
    m_pServer->Stop(false);
    m_pFeed->Stop();
    m_pServer->Stop(true);
    m_pStopSupervisor->TellServerStopped();
    if (m_pFigures)
        m_pFigures->End(); // as below
    m_pLook.reset();       // may wait for a file system, and then only the supervisor ends it
    Publish(platform::Clock().UtcSeconds());
}
