#include "platform/Clock.h"

#include "platform/NeverDestroyed.h"
#include "platform/Os.h"
#include "platform/win32/SystemError.h"

namespace platform {

namespace {

/// What the system tells of its start; its headers leave the second half out.
struct STimeOfDay {
    LARGE_INTEGER bootTime;
    LARGE_INTEGER currentTime;
    LARGE_INTEGER timeZoneBias;
    ULONG timeZoneId;
    ULONG reserved;
    ULONGLONG bootTimeBias;
    ULONGLONG sleepTimeBias;
};
constexpr ULONG kTimeOfDayInformation = 3;
using QuerySystemFunction = LONG(NTAPI*)(ULONG, void*, ULONG, ULONG*);

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

    /// The time of the start, in steps of 100 ns. Who sets the clock moves it, and what it was moved by in all is told
    /// beside it. The counter of starts in the registry is no name: a power cut may undo its last step. Wine tells
    /// another time to each process, which names nothing.
    std::string SystemStartId() override
    {
        static const auto query =
            win32::OptionalFunction<QuerySystemFunction>(L"ntdll.dll", "NtQuerySystemInformation");
        static const auto wine = win32::OptionalFunction<void (*)()>(L"ntdll.dll", "wine_get_version");
        STimeOfDay told{};
        if (wine != nullptr || query == nullptr || query(kTimeOfDayInformation, &told, sizeof told, nullptr) != 0)
            return {};
        return std::to_string(told.bootTime.QuadPart - static_cast<LONGLONG>(told.bootTimeBias));
    }

    void YieldThread() override { SwitchToThread(); }

    void SleepFor(std::chrono::milliseconds duration) override { Sleep(win32::ToWaitTime(duration)); }
};

} // namespace

IClock& SystemClock()
{
    static CNeverDestroyed<CWin32Clock> clock;
    return clock.Get();
}

} // namespace platform
