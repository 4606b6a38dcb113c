#include "capi/Servers.h"

#include "capi/Clients.h"
#include "capi/ServerServices.h"
#include "com/Components.h"
#include "framework/Exceptions.h"

#include "ZEL_Processor/zel/detail/Steering.h"

CServerObject::CServerObject(STakenOptions options, std::wstring requestDir, std::wstring outputDir)
    : m_options([&] {
          STakenOptions own = std::move(options);
          own.options.failed = [](void* server) { static_cast<CServerObject*>(server)->Tell(ZEL_SERVER_FAILED); };
          own.options.failedContext = this;
          own.options.drained = [](void* server) { static_cast<CServerObject*>(server)->Tell(ZEL_SERVER_DRAINED); };
          own.options.drainedContext = this;
          return own;
      }()),
      m_strRequestDir(platform::AbsolutePath(requestDir)),
      m_strOutputDir(platform::AbsolutePath(outputDir))
{}

CServerObject::~CServerObject() = default;

HRESULT CServerObject::GetHostService(REFIID /*iid*/, void** service)
{
    if (service == nullptr)
        return E_POINTER;
    *service = nullptr;
    return E_NOINTERFACE;
}

void CServerObject::OnRequestDone()
{
    const CInCallback inside;
    if (m_options.given.done != nullptr)
        m_options.given.done(m_options.given.context);
}

void CServerObject::Tell(std::int32_t state)
{
    m_nState = state;
    m_over.Set();
    const CInCallback inside;
    if (m_options.given.ended != nullptr)
        m_options.given.ended(m_options.given.context, state);
}

SOutcome CServerObject::Start()
{
    const bool isStarted = m_thread.Start([this] {
        Serve();
        return 0U;
    });
    if (!isStarted)
        return {ZEL_SYSTEM_ERROR, "the system has no thread to give"};
    m_started.Wait();
    if (!m_outcome.IsGood())
        static_cast<void>(m_thread.Join());
    return m_outcome;
}

void CServerObject::Stop(bool cancel)
{
    m_bClosing = true;
    if (cancel)
        m_bCanceledForGood = true;
    m_over.Set();
    m_stops.Set();
    static_cast<void>(m_thread.Join());
}

void CServerObject::Serve()
{
    platform::SetCurrentThreadName("ZelServer::Host");
    const zel::Session session;
    try {
        m_outcome = session ? Open() : SOutcome(ZEL_SYSTEM_ERROR, "COM cannot be initialised on this thread");
    } catch (...) {
        m_outcome.code = TellException();
    }
    const bool serves = m_outcome.IsGood();
    if (!serves)
        m_server.reset();
    m_started.Set();
    if (serves) {
        m_stops.Wait();
        End();
    }
}

SOutcome CServerObject::Open()
{
    std::vector<std::wstring> errors;
    LoadDefaultComponentFolders(errors);
    for (const std::wstring& folder : m_options.folders)
        AddComponentFolder(platform::AbsolutePath(folder), errors);
    const zel::detail::Reports reports;
    SZelServerOptions options = m_options.options;
    options.leftOut = errors;
    try {
        m_server.emplace();
    } catch (const CUserException&) {
        for (const std::wstring& error : errors)
            reports.current()->add(error);
        return {ZEL_NO_PLUGIN, reports.behind("no plug-in can be used")};
    }
    m_server->SetOptions(options);
    if (!m_server->SetDirs(m_strRequestDir, m_strOutputDir))
        return {ZEL_FILE_ERROR, reports.behind("a directory is missing or refused")};
    m_server->SetZelProcessorContext(this);
    m_server->SetZelProcessorEvent(this);
    if (!m_server->Run())
        return {ZEL_SYSTEM_ERROR, reports.behind("the server does not start")};
    // What lies in the request directory is found at the first change there.
    const std::wstring path = platform::JoinPath(m_strRequestDir, zel::detail::uniqueName() + L".zel-start");
    std::unique_ptr<platform::IFile> file;
    static_cast<void>(platform::Files().Open(path, platform::eOpenMode_CreateExclusive, file));
    file.reset();
    static_cast<void>(platform::Files().Remove(path));
    const platform::CMutexLock lock(m_cs);
    m_bUsable = true;
    return {};
}

void CServerObject::End()
{
    m_server->Stop(false); // whoever tells of changes just now gives up then
    {
        platform::CMutexLock lock(m_cs);
        m_bUsable = false;
        m_unused.Wait(lock, [this]() ZEL_REQUIRES(m_cs) { return m_nUses == 0; });
    }
    m_server->Stop(true);
    m_server.reset();
}

SOutcome CServerObject::Drain(std::chrono::milliseconds timeout)
{
    if (!m_options.options.operatorCommands)
        return {ZEL_REFUSED, "the server was started without operator_commands"};
    const zel::detail::Deadline deadline(timeout);
    if (State() == ZEL_SERVER_RUNS) {
        zel::Options options;
        options.requests = zel::detail::pathOf(m_strRequestDir);
        options.output = zel::detail::pathOf(m_strOutputDir);
        options.commandTimeout = std::max(deadline.left(), std::chrono::milliseconds(1));
        zel::detail::Parts parts(options);
        const zel::Result<void> begun = zel::detail::command(parts.core, [this](zel::detail::Call& call) {
            call->SetGoOn([this] { return !m_over.IsSet(); });
            return call->DrainServer();
        });
        // An earlier one may have begun with it, and then it takes no commands.
        if (!begun && begun.code() != zel::Code::noAnswer && State() == ZEL_SERVER_RUNS)
            return begun;
    }
    if (!m_over.WaitFor(deadline.left()))
        return {ZEL_TIMEOUT, "what runs has not ended in time"};
    switch (State()) {
    case ZEL_SERVER_DRAINED: return {};
    case ZEL_SERVER_FAILED: return {ZEL_SYSTEM_ERROR, "the server failed"};
    default: return {ZEL_STOPPED, "the server was stopped"};
    }
}
