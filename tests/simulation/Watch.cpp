#include "tests/simulation/Watch.h"

#include "tests/simulation/World.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace sim {
namespace {

using platform::eOsError;
using platform::eWaitResult;

class CWatch final : public platform::IDirectoryWatch, public IDiskListener {
public:
    CWatch(std::wstring directory, platform::eWatchFilter filter)
        : m_directory(std::move(directory)), m_filter(filter), m_process(CWorld::Process())
    {
        World().m_listeners.push_back(this);
    }
    ~CWatch() override { std::erase(World().m_listeners, static_cast<IDiskListener*>(this)); }

    void Hear(const std::wstring& directory, CDisk::eChange change) override
    {
        if (directory != m_directory || !Concerns(change) || World().IsPlantedNow(ePlanted_LostNotice))
            return;
        const nanoseconds now = World().m_scheduler.Now();
        const bool isLate = World().m_random.OneIn(8);
        const nanoseconds told = isLate ? now + std::chrono::microseconds(World().m_random.Below(50'000)) : now;
        m_told.push_back(told);
        World().m_scheduler.SetAlarm(told);
    }

    eWaitResult Wait(std::chrono::milliseconds timeout) override
    {
        if (!platform::Succeeded(World().Enter("wait", m_directory)))
            return m_process.isDead ? platform::eWaitResult_Woken : platform::eWaitResult_Failed;
        static_cast<void>(World().m_scheduler.WaitFor(timeout, [this] { return m_isWoken || HasChanged(); }));
        if (std::exchange(m_isWoken, false) || m_process.isDead)
            return platform::eWaitResult_Woken;
        return HasChanged() ? platform::eWaitResult_Changed : platform::eWaitResult_Timeout;
    }

    /// What is still on its way comes later.
    eOsError Rearm() override
    {
        const eOsError error = World().Enter("rearm", m_directory);
        if (platform::Succeeded(error))
            std::erase_if(m_told, [now = World().m_scheduler.Now()](nanoseconds told) { return told <= now; });
        return error;
    }

    void Wake() override { m_isWoken = true; }

private:
    static CWorld& World() { return *CWorld::Current(); }

    [[nodiscard]] bool HasChanged() const
    {
        const auto isTold = [now = World().m_scheduler.Now()](nanoseconds told) { return told <= now; };
        return std::any_of(m_told.begin(), m_told.end(), isTold);
    }

    /// Windows cannot tell names that came from names that went.
    [[nodiscard]] bool Concerns(CDisk::eChange change) const
    {
        const bool isLinux = World().m_settings.manner == eManner_Linux;
        switch (change) {
        case CDisk::eChange_Came: return m_filter != platform::eWatchFilter_FileNameGone || !isLinux;
        case CDisk::eChange_Content: return m_filter == platform::eWatchFilter_FileNameAndLastWrite;
        case CDisk::eChange_Closed:
            return isLinux && (m_filter == platform::eWatchFilter_FileNameAndClosed ||
                               m_filter == platform::eWatchFilter_FileNameAndLastWrite);
        default: return true;
        }
    }

    const std::wstring m_directory;
    const platform::eWatchFilter m_filter;
    const SProcess& m_process;
    bool m_isWoken = false;
    std::vector<nanoseconds> m_told; ///< when each change shows
};

} // namespace

eOsError WatchDirectory(const std::wstring& directory, platform::eWatchFilter filter,
                        std::unique_ptr<platform::IDirectoryWatch>& watch)
{
    if (!CWorld::Current()->m_disk.HasDirectory(directory))
        return platform::eOsError_PathNotFound;
    watch = std::make_unique<CWatch>(directory, filter);
    return platform::eOsError_None;
}

} // namespace sim
