#pragma once

#include "apps/common/ExitCodes.h"
#include "platform/Fault.h"

#include <chrono>
#include <functional>

/// While it lives nobody may call exit: a plug-in that does ends the process with the given code, after it was told of,
/// where it would have looked like a clean end. What ends the process without the C library's word (_exit, quick_exit)
/// is not noticed. One at a time, made when the plug-ins are loaded: the exit's last handler comes first, before static
/// objects of theirs are gone.
class CExitGuard {
public:
    /// tell is called on the thread that called exit, with its stack. The process ends when it returns, or after
    /// patience.
    CExitGuard(std::function<void(const platform::SFaultRecord&)> tell, std::chrono::milliseconds patience,
               eExitCode code);
    ~CExitGuard();
    CExitGuard(const CExitGuard&) = delete;
    CExitGuard& operator=(const CExitGuard&) = delete;

private:
    static void OnExit();

    const std::function<void(const platform::SFaultRecord&)> m_tell;
    const std::chrono::milliseconds m_patience;
    const eExitCode m_code;
};
