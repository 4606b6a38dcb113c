#include "apps/common/ExitGuard.h"

#include "platform/FaultDeadline.h"
#include "platform/Os.h"
#include "platform/Process.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <utility>

namespace {

std::atomic<const CExitGuard*> g_exitGuard = nullptr;

} // namespace

CExitGuard::CExitGuard(std::function<void(const platform::SFaultRecord&)> tell, std::chrono::milliseconds patience,
                       eExitCode code)
    : m_tell(std::move(tell)), m_patience(patience), m_code(code)
{
    g_exitGuard = this;
    static_cast<void>(std::atexit(&CExitGuard::OnExit)); // fails for want of memory: then an exit is as ever
}

CExitGuard::~CExitGuard()
{
    // Another thread has called exit, uses this object, and ends the process.
    if (g_exitGuard.exchange(nullptr) == nullptr)
        platform::Clock().SleepFor(m_patience);
}

void CExitGuard::OnExit()
{
    const CExitGuard* const guard = g_exitGuard.exchange(nullptr);
    if (guard == nullptr)
        return;
    platform::SFaultRecord fault;
    fault.kind = platform::eFaultKind_Exit;
    fault.frameCount = platform::CaptureStack(fault.frames, platform::kMaxFaultFrames);
    // This function itself is not where anything went wrong.
    fault.frameCount -= fault.frameCount > 0 ? 1 : 0;
    std::copy_n(fault.frames + 1, fault.frameCount, fault.frames);
    platform::CFaultDeadline deadline(guard->m_patience);
    deadline.Start(fault);
    guard->m_tell(fault);
    platform::EndProcess(guard->m_code);
}
