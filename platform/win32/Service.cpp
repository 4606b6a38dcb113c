#include "platform/Service.h"

#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Thread.h"
#include "platform/win32/CommandLine.h"
#include "platform/win32/ServiceStatus.h"
#include "platform/win32/SystemError.h"

#include <array>

using namespace std::chrono_literals;

namespace platform {

namespace {

/// The owner of a handle of the service control manager.
class CServiceHandle {
public:
    explicit CServiceHandle(SC_HANDLE handle) : m_handle(handle) {}
    ~CServiceHandle()
    {
        if (m_handle != nullptr) {
            CloseServiceHandle(m_handle);
        }
    }
    CServiceHandle(const CServiceHandle&) = delete;
    CServiceHandle& operator=(const CServiceHandle&) = delete;
    [[nodiscard]] SC_HANDLE Get() const { return m_handle; }
    [[nodiscard]] explicit operator bool() const { return m_handle != nullptr; }

private:
    const SC_HANDLE m_handle;
};

/// The least that can serve: whoever gives the service its directories decides what it may touch.
constexpr wchar_t kAccount[] = L"NT AUTHORITY\\LocalService";
constexpr DWORD kRestartDelayMs = 5000;
constexpr DWORD kForgetFailuresAfterSeconds = 24 * 60 * 60;
constexpr auto kStopTimeout = 90s;

bool Configure(SC_HANDLE service, const std::wstring& description)
{
    std::wstring text = description; // the structure is for reading and writing
    SERVICE_DESCRIPTIONW info{text.data()};
    std::array<SC_ACTION, 3> actions{};
    actions.fill({SC_ACTION_RESTART, kRestartDelayMs});
    SERVICE_FAILURE_ACTIONSW failures{};
    failures.dwResetPeriod = kForgetFailuresAfterSeconds;
    failures.cActions = static_cast<DWORD>(actions.size());
    failures.lpsaActions = actions.data();
    // A service that tells of its failure before it ends is started again as well.
    SERVICE_FAILURE_ACTIONS_FLAG told{TRUE};
    if (!ChangeServiceConfig2W(service, SERVICE_CONFIG_DESCRIPTION, &info) ||
        !ChangeServiceConfig2W(service, SERVICE_CONFIG_FAILURE_ACTIONS, &failures)) {
        return false;
    }
    if (ChangeServiceConfig2W(service, SERVICE_CONFIG_FAILURE_ACTIONS_FLAG, &told)) {
        return true;
    }
    const DWORD error = GetLastError(); // Wine does not know of it, and starts nothing again either
    return error == ERROR_CALL_NOT_IMPLEMENTED || error == ERROR_INVALID_LEVEL;
}

/// Waits for the end of a service that was asked to stop.
eOsError WaitUntilStopped(SC_HANDLE service)
{
    constexpr auto poll = 100ms; // the system tells of it only to a thread that waits in a way of its own
    const auto end = Clock().Steady() + kStopTimeout;
    SERVICE_STATUS status{};
    while (QueryServiceStatus(service, &status)) {
        if (status.dwCurrentState == SERVICE_STOPPED) {
            return eOsError_None;
        }
        if (Clock().Steady() > end) {
            return eOsError_ServiceTimeout;
        }
        Clock().SleepFor(poll);
    }
    return win32::LastOsError();
}

/// The system's entry point into a service has no room for what it is to run.
struct SServiceRun {
    std::wstring name;
    const std::function<int()>& body;
    int result = 0;
};
SServiceRun* g_pRun = nullptr;

void Supervise(CThread& body)
{
    win32::CServiceStatus& status = win32::CServiceStatus::Instance();
    std::optional<std::chrono::nanoseconds> askedAt;
    bool isAskedAgain = false;
    while (!body.WaitFor(1s)) {
        status.TellProgress();
        const auto patience = status.Patience();
        if (!patience) {
            continue;
        }
        const auto now = Clock().Steady();
        askedAt = askedAt.value_or(now);
        if (!isAskedAgain && now - *askedAt >= *patience) {
            isAskedAgain = true;
            win32::SignalOwnStop();
        }
    }
}

void WINAPI ServiceMain(DWORD, wchar_t**)
{
    win32::CServiceStatus& status = win32::CServiceStatus::Instance();
    if (!status.Begin(g_pRun->name)) {
        return;
    }
    CThread body;
    if (!body.Start([] {
            SetCurrentThreadName("Service");
            g_pRun->result = g_pRun->body();
            return 0U;
        })) {
        g_pRun->result = 1;
    } else {
        Supervise(body);
        static_cast<void>(body.Join());
    }
    status.TellStopped(g_pRun->result);
}

} // namespace

eOsError InstallService(const SServiceDefinition& definition)
{
    const CServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CREATE_SERVICE));
    if (!manager) {
        return win32::LastOsError();
    }
    const std::wstring commandLine = win32::MakeCommandLine(ProgramPath(), definition.arguments);
    const CServiceHandle service(CreateServiceW(manager.Get(), definition.name.c_str(), definition.displayName.c_str(),
                                                SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS, SERVICE_AUTO_START,
                                                SERVICE_ERROR_NORMAL, commandLine.c_str(), nullptr, nullptr, nullptr,
                                                kAccount, L""));
    if (!service) {
        return win32::LastOsError();
    }
    if (Configure(service.Get(), definition.description)) {
        return eOsError_None;
    }
    const eOsError error = win32::LastOsError();
    DeleteService(service.Get());
    return error;
}

eOsError RemoveService(const std::wstring& name)
{
    const CServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!manager) {
        return win32::LastOsError();
    }
    const CServiceHandle service(
        OpenServiceW(manager.Get(), name.c_str(), DELETE | SERVICE_STOP | SERVICE_QUERY_STATUS));
    if (!service) {
        return win32::LastOsError();
    }
    SERVICE_STATUS status{};
    if (!ControlService(service.Get(), SERVICE_CONTROL_STOP, &status)) {
        const DWORD error = GetLastError();
        // It does not run, or is about to stop.
        if (error != ERROR_SERVICE_NOT_ACTIVE && error != ERROR_SERVICE_CANNOT_ACCEPT_CTRL) {
            return win32::ToOsError(error);
        }
    }
    if (const eOsError stopped = WaitUntilStopped(service.Get()); !Succeeded(stopped)) {
        return stopped;
    }
    return DeleteService(service.Get()) ? eOsError_None : win32::LastOsError();
}

eOsError RunService(const std::wstring& name, const std::function<int()>& body, int& result)
{
    SServiceRun run{name, body};
    g_pRun = &run;
    std::wstring ownName = name;
    const SERVICE_TABLE_ENTRYW table[] = {{ownName.data(), &ServiceMain}, {nullptr, nullptr}};
    const bool dispatched = StartServiceCtrlDispatcherW(table) != FALSE;
    result = run.result;
    return dispatched ? eOsError_None : win32::LastOsError();
}

std::wstring ServiceAdvice()
{
    return {};
}

} // namespace platform
