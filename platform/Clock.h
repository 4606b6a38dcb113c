#pragma once

#include "platform/Export.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace platform {

/// Time, and the two ways of letting it pass. An interface, so that a test moves the time by hand and a two-second
/// time-out is tested in no time.
class IClock {
public:
    virtual ~IClock() = default;

    /// Milliseconds from an arbitrary start, never going back; wraps at 32 bits like every tick count: compare
    /// differences.
    [[nodiscard]] virtual std::uint32_t TickCount() = 0;
    /// Elapsed wall time of a steady clock since an arbitrary start, which is the same for all processes until the
    /// system is started again.
    [[nodiscard]] virtual std::chrono::nanoseconds Steady() = 0;
    /// Seconds since 1970-01-01 UTC.
    [[nodiscard]] virtual std::int64_t UtcSeconds() = 0;
    /// Names this start of the system: the same for all processes until it is started again, whatever is done to its
    /// clock. Letters, digits and '-'. Empty where the system does not tell.
    [[nodiscard]] virtual std::string SystemStartId() { return {}; }
    /// Gives the rest of the time slice away.
    virtual void YieldThread() = 0;
    virtual void SleepFor(std::chrono::milliseconds duration) = 0;
};

} // namespace platform
