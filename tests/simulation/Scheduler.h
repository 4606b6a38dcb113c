#pragma once

#include "tests/simulation/Baton.h"
#include "tests/simulation/Random.h"
#include "tests/simulation/Waiting.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace sim {

using std::chrono::nanoseconds;

/// What dies together, and owns what it has open. One that is dead goes on, cut off from the world: each of its calls
/// fails and changes nothing, each of its waits with an end is over at once, and its own clock runs away, so that its
/// threads end in the ways they have, with their destructors, and nothing leaks from one history into the next.
struct SProcess {
    std::wstring name;
    std::uint32_t id = 0;
    bool isDead = false;
    nanoseconds ahead{}; ///< how far a dead one's clock has run away
    std::size_t calls = 0;
    std::size_t diesAt = 0;  ///< the call with this number; 0: never
    std::size_t failsAt = 0; ///< the same
};

/// Lets the threads of a history run one at a time, real threads that pass a baton on: at each call of Pause or
/// WaitFor a seeded generator picks the next one. Time stands still while anybody can run, but for what calls cost.
/// What the threads share needs no lock of its own, for only one runs.
class CScheduler {
public:
    /// The calling thread is the first one.
    CScheduler(CRandom& random, SProcess& process);
    ~CScheduler();
    CScheduler(const CScheduler&) = delete;
    CScheduler& operator=(const CScheduler&) = delete;

    [[nodiscard]] bool Start(SProcess& process, std::function<void()> body, std::thread& thread);
    void Join(std::thread& thread);
    /// Perhaps somebody else's turn; surely, when somebody else can run and this one asks for that.
    void Pause(bool isForOthers);
    /// False when the time is over first.
    bool WaitFor(nanoseconds timeout, const std::function<bool()>& condition);

    [[nodiscard]] nanoseconds Now() const { return m_now; }
    void Advance(nanoseconds time) { m_now += time; }
    /// Somebody's condition may become true at this time.
    void SetAlarm(nanoseconds time) { m_alarms.push_back(time); }

    /// Called instead of all that could not end: nobody can ever run again, or somebody runs without end.
    std::function<void(const std::string&)> m_onStuck;

    struct SThread {
        SProcess* process = nullptr;
        std::uint32_t number = 0;
        std::thread::id id;
        const std::function<bool()>* waitsFor = nullptr;
        nanoseconds until{};
        bool hasEnded = false;
        CBaton turn;
    };
    /// Null on a thread that takes no part.
    [[nodiscard]] static SThread* Current();
    [[nodiscard]] static CScheduler* Running();

private:
    SThread& Add(SProcess& process);
    void PassOn(SThread& self, bool isForOthers);
    [[nodiscard]] bool CanRun(const SThread& thread) const;
    SThread& Pick(SThread& self, bool isForOthers);
    void AdvanceToNext();
    [[nodiscard]] std::string Threads() const;

    CRandom& m_random;
    const std::size_t m_rarely; ///< how seldom another one's turn comes where nobody has to wait
    nanoseconds m_now = std::chrono::seconds(1);
    std::vector<nanoseconds> m_alarms;
    std::vector<std::unique_ptr<SThread>> m_threads;
    std::vector<SThread*> m_ready;
    std::size_t m_picks = 0;
};

} // namespace sim
