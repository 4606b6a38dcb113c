#include "platform/FaultDeadline.h"

#include "platform/win32/Handle.h"
#include "platform/win32/SystemError.h"

// A thread that was there before the fault waits, for the system's own timers allocate when they call. Everything that
// it and Start use is the system's: our own events may be made at their first use.

namespace platform {

struct CFaultDeadline::SState {
    explicit SState(std::chrono::milliseconds patience)
        : limit(win32::ToWaitTime(patience)),
          started(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
          ended(CreateEventW(nullptr, TRUE, FALSE, nullptr))
    {
        if (started && ended) {
            thread = win32::CHandle(CreateThread(nullptr, 0, &Wait, this, 0, nullptr));
        }
    }
    ~SState()
    {
        SetEvent(ended.Get());
        WaitForSingleObject(thread.Get(), INFINITE); // it ends with the event
    }
    SState(const SState&) = delete;
    SState& operator=(const SState&) = delete;

    static DWORD WINAPI Wait(void* parameter)
    {
        const auto& state = *static_cast<const SState*>(parameter);
        const HANDLE events[] = {state.ended.Get(), state.started.Get()};
        if (WaitForMultipleObjects(2, events, FALSE, INFINITE) != WAIT_OBJECT_0 + 1) {
            return 0;
        }
        if (WaitForSingleObject(state.ended.Get(), state.limit) == WAIT_TIMEOUT) {
            TerminateProcess(GetCurrentProcess(), state.code);
        }
        return 0;
    }

    const DWORD limit;
    DWORD code = 0; ///< written before started is set
    const win32::CHandle started;
    const win32::CHandle ended;
    win32::CHandle thread; ///< ended before what it uses goes
};

CFaultDeadline::CFaultDeadline(std::chrono::milliseconds limit)
    : m_pState(limit.count() > 0 ? std::make_unique<SState>(limit) : nullptr)
{}

CFaultDeadline::~CFaultDeadline() = default;

void CFaultDeadline::Start(const SFaultRecord& fault)
{
    if (!m_pState) {
        return;
    }
    m_pState->code = fault.code != 0 ? fault.code : static_cast<DWORD>(EXCEPTION_NONCONTINUABLE_EXCEPTION);
    SetEvent(m_pState->started.Get());
}

} // namespace platform
