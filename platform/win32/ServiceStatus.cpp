#include "platform/win32/ServiceStatus.h"

#include "platform/Os.h"
#include "platform/Process.h"
#include "platform/win32/StopRequest.h"

namespace platform {

namespace win32 {

namespace {

constexpr std::chrono::seconds kPatience{20};
/// The system ends a service some five seconds after it has told it that it goes down.
constexpr std::chrono::seconds kPatienceAtShutdown{2};
/// By when the next progress is told at the latest, for slow machines.
constexpr DWORD kWaitHintMs = 15000;

} // namespace

CServiceStatus& CServiceStatus::Instance()
{
    alignas(CServiceStatus) static std::byte room[sizeof(CServiceStatus)];
    static CServiceStatus* const status = std::construct_at(reinterpret_cast<CServiceStatus*>(room));
    return *status;
}

bool CServiceStatus::Begin(const std::wstring& name)
{
    const CMutexLock lock(m_mutex);
    m_handle = RegisterServiceCtrlHandlerExW(name.c_str(), &OnControl, this);
    m_status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    if (m_handle != nullptr) {
        Tell(SERVICE_START_PENDING);
    }
    return m_handle != nullptr;
}

bool CServiceStatus::IsService()
{
    const CMutexLock lock(m_mutex);
    return m_handle != nullptr;
}

void CServiceStatus::TellRunning()
{
    const CMutexLock lock(m_mutex);
    if (m_status.dwCurrentState == SERVICE_START_PENDING) {
        Tell(SERVICE_RUNNING);
    }
}

void CServiceStatus::TellStopping()
{
    const CMutexLock lock(m_mutex);
    if (m_status.dwCurrentState == SERVICE_RUNNING) {
        Tell(SERVICE_STOP_PENDING);
    }
}

void CServiceStatus::TellStopped(int result)
{
    const CMutexLock lock(m_mutex);
    if (result != 0) {
        m_status.dwWin32ExitCode = ERROR_SERVICE_SPECIFIC_ERROR;
        m_status.dwServiceSpecificExitCode = static_cast<DWORD>(result);
    }
    Tell(SERVICE_STOPPED);
    m_handle = nullptr; // the system's, and void from now on
}

void CServiceStatus::TellProgress()
{
    const CMutexLock lock(m_mutex);
    if (m_status.dwCurrentState != SERVICE_RUNNING) {
        Tell(m_status.dwCurrentState);
    }
}

std::optional<std::chrono::milliseconds> CServiceStatus::Patience()
{
    const CMutexLock lock(m_mutex);
    return m_patience;
}

DWORD WINAPI CServiceStatus::OnControl(DWORD control, DWORD /*eventType*/, void* /*eventData*/, void* self)
{
    auto& status = *static_cast<CServiceStatus*>(self);
    switch (control) {
    case SERVICE_CONTROL_STOP: status.Stop(kPatience); return NO_ERROR;
    case SERVICE_CONTROL_SHUTDOWN: status.Stop(kPatienceAtShutdown); return NO_ERROR;
    case SERVICE_CONTROL_PARAMCHANGE: SignalOwnReload(); return NO_ERROR;
    case SERVICE_CONTROL_INTERROGATE: return NO_ERROR; // the system answers by what it was told last
    default: return ERROR_CALL_NOT_IMPLEMENTED;
    }
}

void CServiceStatus::Stop(std::chrono::milliseconds patience)
{
    const CMutexLock lock(m_mutex);
    m_patience = m_patience ? std::min(*m_patience, patience) : patience;
    Tell(SERVICE_STOP_PENDING);
    SignalOwnStop();
}

void CServiceStatus::Tell(DWORD state)
{
    if (m_handle == nullptr) {
        return;
    }
    const bool isPending = state == SERVICE_START_PENDING || state == SERVICE_STOP_PENDING;
    m_status.dwCheckPoint = isPending && state == m_status.dwCurrentState ? m_status.dwCheckPoint + 1 : 0;
    m_status.dwCurrentState = state;
    m_status.dwWaitHint = isPending ? kWaitHintMs : 0;
    // While it starts there is nobody yet who could hear of anything.
    constexpr DWORD controls = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN | SERVICE_ACCEPT_PARAMCHANGE;
    m_status.dwControlsAccepted = state == SERVICE_RUNNING ? controls : 0;
    SetServiceStatus(m_handle, &m_status);
}

void SignalOwnStop()
{
    SetEvent(MakeStopEvent(CurrentProcessId()).Get());
}

void SignalOwnReload()
{
    SetEvent(MakeReloadEvent(CurrentProcessId()).Get());
}

} // namespace win32

bool NotifyServiceManager(const std::string& state)
{
    win32::CServiceStatus& status = win32::CServiceStatus::Instance();
    if (!status.IsService()) {
        return false;
    }
    if (state == "READY=1") {
        status.TellRunning();
    } else if (state == "STOPPING=1") {
        status.TellStopping();
    } else if (state == "WATCHDOG=trigger") {
        status.TellStopped(1);
        TerminateProcess(GetCurrentProcess(), 1);
    }
    return true;
}

std::chrono::milliseconds WatchdogInterval()
{
    constexpr std::chrono::minutes own{2};
    return win32::CServiceStatus::Instance().IsService() ? own : std::chrono::milliseconds::zero();
}

} // namespace platform
