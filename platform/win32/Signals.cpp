#include "platform/Os.h"
#include "platform/Process.h"
#include "platform/win32/ServiceStatus.h"
#include "platform/win32/StopRequest.h"
#include "platform/win32/SystemError.h"

#include <atomic>
#include <system_error>

namespace platform {

namespace {

/// The event that the console's thread sets; one object of CProgramSignals lives at a time.
std::atomic<HANDLE> g_consoleStop{nullptr};
std::atomic<DWORD> g_consoleEvent{CTRL_C_EVENT}; ///< that the last stop was

const wchar_t* NameOfConsoleEvent(DWORD event)
{
    switch (event) {
    case CTRL_C_EVENT: return L"Ctrl-C";
    case CTRL_BREAK_EVENT: return L"Ctrl-Break";
    case CTRL_CLOSE_EVENT: return L"the console was closed";
    case CTRL_LOGOFF_EVENT: return L"the user logs off";
    default: return L"the system shuts down";
    }
}

BOOL WINAPI OnConsoleEvent(DWORD event)
{
    // To a service these two tell that some user leaves, or what it is told in its own way as well.
    const bool isOfTheSystem = event == CTRL_LOGOFF_EVENT || event == CTRL_SHUTDOWN_EVENT;
    if (isOfTheSystem && win32::CServiceStatus::Instance().IsService()) {
        return TRUE;
    }
    const HANDLE stop = g_consoleStop.load();
    if (stop == nullptr) {
        return FALSE;
    }
    g_consoleEvent.store(event);
    SetEvent(stop);
    // After these three the system ends the process when the handler returns; the program is stopping itself, and the
    // system gives it some seconds for that while this thread waits.
    if (event == CTRL_CLOSE_EVENT || event == CTRL_LOGOFF_EVENT || event == CTRL_SHUTDOWN_EVENT) {
        Sleep(INFINITE);
    }
    return TRUE;
}

} // namespace

/// Two stop events, since one belongs to this object alone and the other has a name for all to see. Steps are counted.
struct CProgramSignals::SState {
    const win32::CHandle consoleStop{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    const win32::CHandle requestedStop{win32::MakeStopEvent(CurrentProcessId())};
    const win32::CHandle requestedReload{win32::MakeReloadEvent(CurrentProcessId())};
    const win32::CHandle listening{win32::MakeListeningEvent(CurrentProcessId())};
    const win32::CHandle steps{CreateSemaphoreW(nullptr, 0, MAXLONG, nullptr)};
    bool isServer = false;
    std::atomic<bool> ending{false};
    win32::CHandle reader;
    const wchar_t* cause = L"";

    /// Each line of standard input is one step; the thread ends with the input.
    void ReadSteps() const
    {
        const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
        char buffer[256];
        DWORD count = 0;
        while (!ending.load() && ReadFile(input, buffer, sizeof(buffer), &count, nullptr) && count != 0) {
            for (DWORD i = 0; i < count; ++i) {
                if (buffer[i] == '\n') {
                    ReleaseSemaphore(steps.Get(), 1, nullptr);
                }
            }
        }
    }

    static DWORD WINAPI ReaderThread(void* state)
    {
        static_cast<const SState*>(state)->ReadSteps();
        return 0;
    }

    /// The reader sits in a call that no event ends. Its call is cancelled until the thread is gone: once may be too
    /// early.
    void StopReader()
    {
        constexpr DWORD patience = 10;
        ending.store(true);
        while (reader && WaitForSingleObject(reader.Get(), patience) == WAIT_TIMEOUT) {
            CancelSynchronousIo(reader.Get());
        }
        reader.Close();
    }
};

CProgramSignals::CProgramSignals(eSignalSet set) : m_pState(std::make_unique<SState>())
{
    SState& state = *m_pState;
    state.isServer = set != eSignalSet_Tool;
    if (!state.consoleStop || !state.requestedStop || !state.requestedReload || !state.listening || !state.steps) {
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "CProgramSignals");
    }
    g_consoleStop.store(state.consoleStop.Get());
    SetConsoleCtrlHandler(&OnConsoleEvent, TRUE);
    SetEvent(state.listening.Get());
    if (set == eSignalSet_SteppedServer) {
        state.reader = win32::CHandle(CreateThread(nullptr, 0, &SState::ReaderThread, &state, 0, nullptr));
    }
}

CProgramSignals::~CProgramSignals()
{
    ResetEvent(m_pState->listening.Get());
    SetConsoleCtrlHandler(&OnConsoleEvent, FALSE);
    g_consoleStop.store(nullptr);
    m_pState->StopReader();
}

bool CProgramSignals::WaitFor(std::chrono::milliseconds timeout, eProgramSignal& received)
{
    SState& state = *m_pState;
    const HANDLE handles[] = {state.consoleStop.Get(), state.requestedStop.Get(), state.steps.Get(),
                              state.requestedReload.Get()};
    // A tool has nothing to read again.
    const DWORD count = state.isServer ? 4 : 3;
    switch (WaitForMultipleObjects(count, handles, FALSE, win32::ToWaitTime(timeout))) {
    case WAIT_OBJECT_0:
        received = eProgramSignal_Stop;
        state.cause = NameOfConsoleEvent(g_consoleEvent.load());
        return true;
    case WAIT_OBJECT_0 + 1:
        received = eProgramSignal_Stop;
        state.cause = L"asked to by another process or the service manager";
        return true;
    case WAIT_OBJECT_0 + 2: received = eProgramSignal_Step; return true;
    case WAIT_OBJECT_0 + 3: received = eProgramSignal_Reload; return true;
    default: return false;
    }
}

std::wstring CProgramSignals::Cause() const
{
    return m_pState->cause;
}

void CProgramSignals::RequestStop()
{
    SetEvent(m_pState->requestedStop.Get());
}

void EndProcess(int exitCode)
{
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(exitCode));
    for (;;) {
        Sleep(INFINITE); // until this thread has ended, too
    }
}

} // namespace platform
