#include "platform/StrayFaults.h"

#include "platform/Thread.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/StrayFaults.h"
#include "platform/posix/SystemError.h"

#include <algorithm>
#include <atomic>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>
#include <utility>

// The thread that tells was there before the fault and waits for a byte: the handler may neither allocate nor take a
// lock, and does nothing but to write that byte and to wait for another.

namespace platform {

namespace {

using Pipe = std::pair<posix::CDescriptor, posix::CDescriptor>;

Pipe MakePipe()
{
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0)
        return {};
    return {posix::CDescriptor(ends[0]), posix::CDescriptor(ends[1])};
}

void WriteByte(const posix::CDescriptor& end, char byte)
{
    static_cast<void>(posix::Uninterrupted([&] { return write(end.Get(), &byte, 1); }));
}

struct SStrayState {
    SStrayState(std::function<void(const SFaultRecord&)> function, std::chrono::milliseconds time)
        : tell(std::move(function)), patience(static_cast<int>(std::clamp<std::int64_t>(time.count(), 0, 3'600'000)))
    {}

    void Serve()
    {
        char byte = 0;
        if (posix::Uninterrupted([&] { return read(fault.first.Get(), &byte, 1); }) != 1 || byte != 'f')
            return;
        tell(record);
        WriteByte(told.second, 't');
    }

    const std::function<void(const SFaultRecord&)> tell;
    const int patience; ///< in milliseconds
    const Pipe fault = MakePipe();
    const Pipe told = MakePipe();
    SFaultRecord record; ///< written before the byte that tells of it
    std::atomic<bool> isTaken = false;
    CThread thread;
};

std::atomic<SStrayState*> g_strayState = nullptr;

} // namespace

struct CStrayFaults::SState final : SStrayState {
    using SStrayState::SStrayState;
};

CStrayFaults::CStrayFaults(std::function<void(const SFaultRecord&)> tell, std::chrono::milliseconds patience)
    : m_pState(std::make_unique<SState>(std::move(tell), patience))
{
    const bool isReady = m_pState->told.second && m_pState->fault.second && m_pState->thread.Start([this] {
        SetCurrentThreadName("StrayFaults");
        m_pState->Serve();
        return 0U;
    });
    if (!isReady)
        return; // then faults are as ever
    g_strayState = m_pState.get();
    posix::KeepFaultHandlers();
}

CStrayFaults::~CStrayFaults()
{
    if (!m_pState->thread.IsStarted())
        return;
    posix::ReleaseFaultHandlers();
    g_strayState = nullptr;
    WriteByte(m_pState->fault.second, 'e');
    static_cast<void>(m_pState->thread.Join());
}

bool posix::IsStrayFaultTold()
{
    return g_strayState.load() != nullptr;
}

void posix::TellStrayFault(const SFaultRecord& record)
{
    SStrayState* const state = g_strayState.load();
    if (state == nullptr)
        return;
    // Of two threads the second one waits for the end that the first one brings.
    if (!state->isTaken.exchange(true)) {
        state->record = record;
        WriteByte(state->fault.second, 'f');
    }
    pollfd told = {state->told.first.Get(), POLLIN, 0};
    posix::Uninterrupted([&] { return poll(&told, 1, state->patience); });
}

} // namespace platform
