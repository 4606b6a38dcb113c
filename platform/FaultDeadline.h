#pragma once

#include "platform/Export.h"
#include "platform/Fault.h"

#include <chrono>
#include <memory>

namespace platform {

/// Ends the process when the work after a contained fault does not come to its end: a lock that the fault has left
/// taken would have it wait for ever, and nobody would know. Made before the run, because after the fault nothing may
/// be allocated for it.
class ZEL_FRAMEWORK_API CFaultDeadline {
public:
    /// A limit of 0 is none.
    explicit CFaultDeadline(std::chrono::milliseconds limit);
    /// Ends the time.
    ~CFaultDeadline();
    CFaultDeadline(const CFaultDeadline&) = delete;
    CFaultDeadline& operator=(const CFaultDeadline&) = delete;

    /// Begins the time, at whose end the process ends as this fault would have ended it: by its signal, on Windows with
    /// the exception's number as its exit code.
    void Start(const SFaultRecord& fault);

private:
    struct SState;
    std::unique_ptr<SState> m_pState; ///< null without a limit
};

} // namespace platform
