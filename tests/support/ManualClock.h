#pragma once

#include "platform/Clock.h"

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <utility>

namespace testsupport {

/// A clock that a test moves by hand. Waiting moves it, too, and calls a hook, so that a loop that polls until a
/// time-out ends at once, and a test can make something happen "while" it waits. Safe from any thread; the hook runs on
/// the waiting one.
class CManualClock final : public platform::IClock {
public:
    /// yieldStep: how far giving up the time slice moves the clock; loops that yield until a time-out need more than 0.
    /// With 0 waiting does not move the clock at all, only the test does.
    explicit CManualClock(std::chrono::nanoseconds yieldStep = std::chrono::milliseconds(1)) : m_yieldStep(yieldStep) {}

    void Advance(std::chrono::nanoseconds duration) { m_nanoseconds += duration.count(); }
    void SetUtcSeconds(std::int64_t seconds) { m_utcStart = seconds - Elapsed().count() / 1'000'000'000; }
    void SetSystemStartId(std::string id) { m_systemStartId = std::move(id); }
    /// Called after each wait. Set it before other threads use the clock.
    void OnWait(std::function<void()> hook) { m_hook = std::move(hook); }
    [[nodiscard]] unsigned Yields() const { return m_yields; }
    [[nodiscard]] unsigned Sleeps() const { return m_sleeps; }

    std::uint32_t TickCount() override { return static_cast<std::uint32_t>(Elapsed().count() / 1'000'000); }
    std::chrono::nanoseconds Steady() override { return Elapsed(); }
    std::int64_t UtcSeconds() override { return m_utcStart + Elapsed().count() / 1'000'000'000; }

    std::string SystemStartId() override { return m_systemStartId; }

    void YieldThread() override
    {
        ++m_yields;
        Pass(m_yieldStep);
    }

    void SleepFor(std::chrono::milliseconds duration) override
    {
        ++m_sleeps;
        Pass(m_yieldStep.count() == 0 ? m_yieldStep : duration);
    }

private:
    [[nodiscard]] std::chrono::nanoseconds Elapsed() const { return std::chrono::nanoseconds(m_nanoseconds.load()); }

    void Pass(std::chrono::nanoseconds duration)
    {
        Advance(duration);
        std::this_thread::yield();
        if (m_hook)
            m_hook();
    }

    const std::chrono::nanoseconds m_yieldStep;
    std::function<void()> m_hook;
    std::string m_systemStartId;
    // Not from 0: what starts a time-out at an unset start must not pass by chance.
    std::atomic<std::int64_t> m_nanoseconds{std::int64_t{1'000'000} * 1'000'000'000};
    std::atomic<std::int64_t> m_utcStart{1'600'000'000};
    std::atomic<unsigned> m_yields{0};
    std::atomic<unsigned> m_sleeps{0};
};

} // namespace testsupport
