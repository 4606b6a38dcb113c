#include "apps/zel/TaskInterrupt.h"

#include "apps/common/ExitCodes.h"

CTaskInterrupt::CTaskInterrupt() : m_signals(platform::eSignalSet_Tool)
{
    // Without a thread Ctrl-C does nothing, which is no reason not to run the task.
    static_cast<void>(m_thread.Start([this] { return Watch(); }));
}

CTaskInterrupt::~CTaskInterrupt()
{
    m_bEnd = true;
    m_signals.RequestStop();
    static_cast<void>(m_thread.Join());
}

HRESULT CTaskInterrupt::GetHostService(REFIID, void** service)
{
    if (service != nullptr)
        *service = nullptr;
    return E_NOINTERFACE;
}

unsigned CTaskInterrupt::Watch()
{
    platform::SetCurrentThreadName("zel Ctrl-C");
    while (!m_bEnd) {
        platform::eProgramSignal received = platform::eProgramSignal_Stop;
        if (m_signals.WaitFor(std::chrono::seconds(1), received) && !m_bEnd && m_bCanceled.exchange(true))
            platform::EndProcess(eExitCode_Interrupted);
    }
    return 0;
}
