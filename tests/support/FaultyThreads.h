#pragma once

#include "platform/Os.h"

#include <atomic>
#include <functional>
#include <utility>

namespace testsupport {

/// Starts the system's threads, but for the one that a test planned to fail. Lives while it is in use, and no longer.
class CFaultyThreads final : public platform::IThreads {
public:
    /// Makes the n-th start from now (1: the next) fail.
    explicit CFaultyThreads(int failing) : m_left(failing) {}

    bool Start(std::function<void()> body, std::thread& thread) override
    {
        return --m_left != 0 && platform::SystemThreads().Start(std::move(body), thread);
    }

private:
    std::atomic<int> m_left;
    const platform::CScopedOs m_os{nullptr, nullptr, this};
};

} // namespace testsupport
