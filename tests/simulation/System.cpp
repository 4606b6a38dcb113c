// What platform/ declares as functions, for a machine that is simulated: clock, threads, names, and what is asked of
// the system beside its files.

#include "platform/FileHolders.h"
#include "platform/NameKind.h"
#include "platform/Os.h"
#include "platform/ReliableWatch.h"
#include "tests/simulation/Threads.h"
#include "tests/simulation/World.h"

#include <algorithm>

namespace sim {
namespace {

class CClock final : public platform::IClock {
public:
    std::uint32_t TickCount() override
    {
        return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(Steady()).count());
    }
    nanoseconds Steady() override
    {
        if (CScheduler::Current() == nullptr)
            return {};
        // Asking takes time as well, or who asks until a time has come would ask for ever.
        CScheduler::Running()->Advance(std::chrono::microseconds(1));
        return CScheduler::Running()->Now() + CWorld::Process().ahead;
    }
    std::int64_t UtcSeconds() override
    {
        constexpr std::int64_t start = 1'700'000'000;
        constexpr std::int64_t secondsOff = 60; // at each cut of the power
        const CWorld* const world = CWorld::Current();
        const bool isSeen = world != nullptr && !NamesItsStarts(*world);
        const auto cuts = isSeen ? static_cast<std::int64_t>(world->m_cuts) : 0;
        return start + secondsOff * cuts + std::chrono::duration_cast<std::chrono::seconds>(Steady()).count();
    }
    std::string SystemStartId() override
    {
        const CWorld* const world = CWorld::Current();
        return world != nullptr && NamesItsStarts(*world) ? std::to_string(world->m_cuts) : std::string();
    }
    void YieldThread() override { Pause(true); }
    void SleepFor(std::chrono::milliseconds duration) override
    {
        WaitFor(duration, [] { return false; });
    }

private:
    /// A machine that does keeps no time: a cut of the power cannot be seen by the clock.
    static bool NamesItsStarts(const CWorld& world) { return world.m_settings.manner == eManner_Linux; }
};

class CThreads final : public platform::IThreads {
public:
    bool Start(std::function<void()> body, std::thread& thread) override
    {
        return platform::Succeeded(CWorld::Current()->Enter("start a thread", {})) &&
               CScheduler::Running()->Start(CWorld::Process(), std::move(body), thread);
    }
    void Join(std::thread& thread) override { CScheduler::Running()->Join(thread); }
};

} // namespace

platform::IThreads& SimulatedThreads()
{
    static CThreads threads;
    return threads;
}

} // namespace sim

namespace platform {

IClock& SystemClock()
{
    static sim::CClock clock;
    return clock;
}

std::array<std::uint8_t, 16> NewUniqueId()
{
    std::array<std::uint8_t, 16> id{};
    if (sim::CWorld* const world = sim::CWorld::Current()) {
        ++world->m_names;
        const std::uint64_t number = sim::CRandom(world->m_names).Next();
        std::transform(id.begin(), id.begin() + 8, id.begin(), [&, index = 0U](std::uint8_t) mutable {
            return static_cast<std::uint8_t>(number >> (8 * index++));
        });
    }
    id[7] = static_cast<std::uint8_t>((id[7] & 0x0F) | 0x40);
    id[8] = static_cast<std::uint8_t>((id[8] & 0x3F) | 0x80);
    return id;
}

std::uint32_t CurrentProcessId()
{
    return sim::CScheduler::Current() != nullptr ? sim::CWorld::Process().id : 1;
}

std::uint32_t CurrentThreadId()
{
    return sim::CScheduler::Current() != nullptr ? sim::CScheduler::Current()->number : 1;
}

eNameKind NameKind(const std::wstring& path)
{
    SFileAttributes attributes;
    if (!Succeeded(Files().GetAttributes(path, attributes)))
        return eNameKind_Missing;
    return attributes.isDirectory ? eNameKind_Directory : eNameKind_File;
}

bool HasSeveralNames(const std::wstring& /*path*/)
{
    return false;
}

eOsError CheckOwnDirectory(const std::wstring& path)
{
    SFileAttributes attributes;
    const eOsError error = Files().GetAttributes(path, attributes);
    return Succeeded(error) && !attributes.isDirectory ? eOsError_NotADirectory : error;
}

std::wstring FileHolders(const std::wstring& /*path*/)
{
    return {};
}

bool IsChangedFromOutside(const std::wstring& /*directory*/)
{
    return false;
}

} // namespace platform
