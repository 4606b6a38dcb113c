#include "platform/Clock.h"

#include "platform/NeverDestroyed.h"
#include "platform/Os.h"

#include <ctime>
#include <fstream>
#include <iomanip>
#include <sched.h>
#include <thread>

namespace platform {
namespace {

/// The C library's clock() is no clock for waiting: it counts processor time, which a waiting process does not use.
class CSystemClock final : public IClock {
public:
    std::uint32_t TickCount() override
    {
        return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(Steady()).count());
    }

    std::chrono::nanoseconds Steady() override
    {
        timespec now = {};
        clock_gettime(CLOCK_MONOTONIC, &now);
        return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
    }

    std::int64_t UtcSeconds() override { return time(nullptr); }

    /// Of the kernel, whose memory has the files. A container may show one of its own, and then counts as started anew.
    std::string SystemStartId() override
    {
        constexpr int maxLength = 64;
        std::string id;
        std::ifstream("/proc/sys/kernel/random/boot_id") >> std::setw(maxLength) >> id;
        return id;
    }

    void YieldThread() override { sched_yield(); }

    void SleepFor(std::chrono::milliseconds duration) override { std::this_thread::sleep_for(duration); }
};

} // namespace

IClock& SystemClock()
{
    static CNeverDestroyed<CSystemClock> clock;
    return clock.Get();
}

} // namespace platform
