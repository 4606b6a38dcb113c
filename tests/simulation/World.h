#pragma once

#include "platform/OsError.h"
#include "tests/simulation/Disk.h"
#include "tests/simulation/Planted.h"
#include "tests/simulation/Random.h"
#include "tests/simulation/Scheduler.h"
#include "tests/simulation/Watch.h"

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

namespace sim {

struct SSettings {
    std::uint64_t seed = 1;
    eManner manner = eManner_Linux;
    ePlanted planted = ePlanted_None;
    bool hasPowerCuts = false;
    bool hasCrowd = false;    ///< others beside: who holds files, who looks for what nobody takes
    bool hasListener = false; ///< a registered client, whom the server tells of events
    bool isTraced = false;    ///< each call is written to standard output
};

/// What a history runs in: one machine with its disk, clock and processes.
class CWorld {
public:
    explicit CWorld(const SSettings& settings);
    ~CWorld();
    CWorld(const CWorld&) = delete;
    CWorld& operator=(const CWorld&) = delete;

    /// Null where no history runs.
    [[nodiscard]] static CWorld* Current();
    /// The one that the calling thread belongs to; never null in a history.
    [[nodiscard]] static SProcess& Process();

    [[nodiscard]] SProcess& AddProcess(const std::wstring& name);

    /// Where each call into the layer begins: others may have their turn, and what was planned for this call happens.
    /// A failure is to be given back to the caller, with nothing done.
    [[nodiscard]] platform::eOsError Enter(const char* call, const std::wstring& path);
    void Kill(SProcess& process);
    void CutPower();

    [[nodiscard]] bool IsPlanted(ePlanted planted) const { return m_settings.planted == planted; }
    /// The same, for a fault that shows now and then.
    [[nodiscard]] bool IsPlantedNow(ePlanted planted) { return IsPlanted(planted) && m_random.OneIn(8); }

    /// Puts a line into the history.
    void Trace(const std::string& line);
    /// A sum of all lines so far: histories with the same sum went the same way.
    [[nodiscard]] std::uint64_t Sum() const { return m_sum; }

    const SSettings m_settings;
    CRandom m_random;
    std::list<SProcess> m_processes;
    CScheduler m_scheduler;
    CDisk m_disk;
    std::vector<IDiskListener*> m_listeners;

    std::size_t m_calls = 0;
    std::size_t m_cutAt = 0; ///< the call with this number finds the power cut; 0: never
    std::size_t m_cuts = 0;
    std::size_t m_failures = 0;
    std::size_t m_deaths = 0;  ///< of the server
    std::uint32_t m_names = 0; ///< unique ones that were given out

private:
    [[nodiscard]] platform::eOsError AnyFailure();

    std::uint64_t m_sum = 0xCBF29CE484222325U;
};

} // namespace sim
