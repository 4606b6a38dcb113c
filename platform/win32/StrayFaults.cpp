#include "platform/StrayFaults.h"

#include "platform/Thread.h"
#include "platform/win32/Handle.h"
#include "platform/win32/StrayFaults.h"
#include "platform/win32/SystemError.h"

#include <atomic>
#include <utility>

// The thread that tells was there before the fault and waits for an event: where the fault struck nothing can be
// relied on.

namespace platform {

namespace {

struct SStrayState {
    SStrayState(std::function<void(const SFaultRecord&)> function, std::chrono::milliseconds time)
        : tell(std::move(function)), patience(win32::ToWaitTime(time))
    {}

    void Serve()
    {
        const HANDLE events[] = {ended.Get(), fault.Get()};
        if (WaitForMultipleObjects(2, events, FALSE, INFINITE) != WAIT_OBJECT_0 + 1) {
            return;
        }
        tell(record);
        SetEvent(told.Get());
    }

    const std::function<void(const SFaultRecord&)> tell;
    const DWORD patience;
    const win32::CHandle ended{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    const win32::CHandle fault{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    const win32::CHandle told{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    SFaultRecord record; ///< written before the event is set
    std::atomic<bool> isTaken = false;
    CThread thread;
};

std::atomic<SStrayState*> g_strayState{nullptr};

} // namespace

struct CStrayFaults::SState final : SStrayState {
    using SStrayState::SStrayState;
};

CStrayFaults::CStrayFaults(std::function<void(const SFaultRecord&)> tell, std::chrono::milliseconds patience)
    : m_pState(std::make_unique<SState>(std::move(tell), patience))
{
    const bool isReady = m_pState->ended && m_pState->fault && m_pState->told && m_pState->thread.Start([this] {
        SetCurrentThreadName("StrayFaults");
        m_pState->Serve();
        return 0U;
    });
    if (!isReady) {
        return; // then faults are as ever
    }
    g_strayState = m_pState.get();
    win32::KeepFaultHandlers();
}

CStrayFaults::~CStrayFaults()
{
    if (!m_pState->thread.IsStarted()) {
        return;
    }
    win32::ReleaseFaultHandlers();
    g_strayState = nullptr;
    SetEvent(m_pState->ended.Get());
    static_cast<void>(m_pState->thread.Join());
}

void win32::TellStrayFault(const SFaultRecord& record)
{
    SStrayState* const state = g_strayState.load();
    if (state == nullptr) {
        return;
    }
    // Of two threads the second one waits for the end that the first one brings.
    if (!state->isTaken.exchange(true)) {
        state->record = record;
        SetEvent(state->fault.Get());
    }
    WaitForSingleObject(state->told.Get(), state->patience);
}

} // namespace platform
