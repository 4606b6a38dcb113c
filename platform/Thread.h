#pragma once

#include "platform/Export.h"

#include <chrono>
#include <functional>
#include <memory>
#include <thread>

namespace platform {

/// Names the current thread for debuggers and process viewers. Linux keeps the last 15 bytes of a longer name, because
/// the ends of our names tell them apart.
ZEL_FRAMEWORK_API void SetCurrentThreadName(const char* name);
/// The name as it was set on this thread, of a long one the first 63 bytes; empty when it has none.
[[nodiscard]] ZEL_FRAMEWORK_API const char* CurrentThreadName();

/// A manual-reset event. All operations are safe from any thread.
class ZEL_FRAMEWORK_API CManualResetEvent {
public:
    CManualResetEvent();
    ~CManualResetEvent();
    CManualResetEvent(const CManualResetEvent&) = delete;
    CManualResetEvent& operator=(const CManualResetEvent&) = delete;

    void Set();
    void Reset();
    [[nodiscard]] bool IsSet() const;
    void Wait();
    /// False when the time is over before the event is set.
    [[nodiscard]] bool WaitFor(std::chrono::milliseconds timeout);

private:
    struct SState;
    std::shared_ptr<SState> m_pState;
};

/// Where threads come from, and how their end is waited for.
class IThreads {
public:
    virtual ~IThreads() = default;
    /// Starts the body, which must not throw. False when the system has no thread to give.
    [[nodiscard]] virtual bool Start(std::function<void()> body, std::thread& thread) = 0;
    virtual void Join(std::thread& thread) { thread.join(); }
};

/// A joined thread with an exit code. The destructor joins.
class ZEL_FRAMEWORK_API CThread {
public:
    CThread();
    ~CThread();
    CThread(CThread&&) noexcept;
    CThread& operator=(CThread&&) noexcept;

    /// Starts the body, which must not throw. False when the system has no thread to give.
    [[nodiscard]] bool Start(std::function<unsigned()> body);
    [[nodiscard]] bool IsStarted() const;
    /// Waits for the end without time-out. False when there is nothing to wait for or the thread would wait for itself.
    [[nodiscard]] bool Join();
    /// Waits for the end; false when it has not come in time. The thread must still be joined after true.
    [[nodiscard]] bool WaitFor(std::chrono::milliseconds timeout);
    /// What the body returned; valid after the end.
    [[nodiscard]] unsigned ExitCode() const;

private:
    struct SState;
    std::shared_ptr<SState> m_pState;
};

} // namespace platform
