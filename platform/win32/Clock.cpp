#include "platform/Clock.h"

#include "platform/Os.h"
#include "platform/win32/SystemError.h"

namespace platform {

namespace {

class CWin32Clock final : public IClock {
public:
    std::uint32_t TickCount() override
    {
        // Not the system's tick count: that moves in steps of 16 ms.
        return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(Steady()).count());
    }

    std::chrono::nanoseconds Steady() override
    {
        return std::chrono::duration_cast<std::chrono::nanoseconds>(
            std::chrono::steady_clock::now().time_since_epoch());
    }

    std::int64_t UtcSeconds() override
    {
        return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch())
            .count();
    }

    void YieldThread() override { SwitchToThread(); }

    void SleepFor(std::chrono::milliseconds duration) override { Sleep(win32::ToWaitTime(duration)); }
};

} // namespace

IClock& SystemClock()
{
    static CWin32Clock clock;
    return clock;
}

} // namespace platform
