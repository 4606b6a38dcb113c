#include "apps/zel-server/ServerProgram.h"

#include "apps/common/ExitCodes.h"
#include "apps/zel-server/LibraryOptions.h"
#include "apps/zel-server/StopSupervisor.h"
#include "com/Components.h"
#include "framework/Exceptions.h"
#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"

#include "ServerTexts.h"

#include <string_view>
#include <utility>

using namespace std::chrono_literals;

namespace {

/// The folder of the plug-ins that came with the program, found by where the program lies: beside it in a build folder
/// and in a Windows archive, elsewhere in the place that the installation gave it. Empty without one.
std::wstring ShippedPlugins()
{
    const std::wstring programs = platform::DirectoryOf(platform::ProgramPath());
    const std::wstring beside = platform::JoinPath(programs, L"plugins");
    if (platform::DirectoryExists(beside))
        return beside;
    // Without "..": a registered module is known by its path, and this folder may be the one that it lies in.
    std::wstring folder = programs;
    std::wstring_view way = ZEL_PLUGINS_FROM_PROGRAMS;
    for (constexpr std::wstring_view up = L"../"; way.starts_with(up); way.remove_prefix(up.size()))
        folder = platform::DirectoryOf(folder);
    folder = platform::JoinPath(folder, way);
    return platform::DirectoryExists(folder) ? folder : std::wstring();
}

} // namespace

CServerProgram::CServerProgram(const SServerOptions& options) : m_options(options), m_signals(options.manual) {}

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
    LimitQueries();
    AddComponents();
    if (!Start())
        return eExitCode_ClientError;
    TellReady();
    ServeUntilStop();
    m_context.SetClosing();
    TellFailure(); // before the stop, which may take long
    Stop();
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

void CServerProgram::LimitQueries()
{
    // Like the folder of the data, which is the data store's too: plug-ins have the environment, and no command line.
    constexpr const wchar_t* kVariable = L"ZEL_QUERY_TIME_LIMIT";
    platform::SetEnvironment(kVariable, QueryTimeLimit(m_options, platform::Environment(kVariable)));
}

void CServerProgram::AddComponents()
{
    std::vector<std::wstring> errors;
    // Those that the user named come first: of two modules for one class the first wins.
    for (const std::wstring& folder : m_options.componentFolders)
        AddComponentFolder(folder, errors);
    LoadDefaultComponentFolders(errors);
    // Last: what somebody chose for this machine comes before what everybody gets.
    if (const std::wstring shipped = ShippedPlugins(); !shipped.empty())
        AddComponentFolder(shipped, errors);
    for (const std::wstring& error : errors)
        m_messages.Error(WQ_ModuleText(ServerTexts::IDS_LEFT_OUT, {error}));
}

bool CServerProgram::Start()
{
    std::wstring error;
    if (!m_directories.Prepare(m_options, error)) {
        m_messages.Error(error);
        return false;
    }
    // Before the directories are cleared comes whatever can fail: a start that fails must not delete anything.
    if (!MakeServer() || !ProvideProject())
        return false;
    if (!CServerDirectories::Try(m_options.requestDir, error) ||
        (m_options.privateFiles && !CServerDirectories::TryPrivate(m_options.outputDir, error))) {
        m_messages.Error(error);
        return false;
    }
    SZelServerOptions options = LibraryOptions(m_options);
    options.failed = [](void* program) { static_cast<CServerProgram*>(program)->EndAfterFailure(); };
    options.failedContext = this;
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
    m_pServer->SetManualProceedQueue(m_options.manual);
    m_pFeed = std::make_unique<CEventFeed>(*m_pServer);
    m_pFeed->Start();
    // Files that lay in the request directory before are found at the first change there, whoever makes it. This worked
    // a moment ago; ending now that the directories are cleared would help nobody.
    if (!CServerDirectories::Touch(m_options.requestDir, error))
        m_messages.Error(error);
    return true;
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
        m_pServer->ProceedQueue();
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
    const CStopSupervisor supervisor(m_signals, m_context, m_messages);
    // First, so that a notification which waits for a stranger gives up: stopping the feed waits for it.
    m_pServer->Stop(false);
    m_pFeed->Stop();
    m_pServer->Stop(true);
}
