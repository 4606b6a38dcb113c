#pragma once

#include <condition_variable>
#include <mutex>

namespace sim {

/// What a thread waits for to have its turn. Not std::binary_semaphore: that gives its processor away a few times
/// before it sleeps, and where others have work, each of these costs what a whole history does.
class CBaton {
public:
    void Give()
    {
        const std::lock_guard lock(m_mutex);
        m_isHere = true;
        m_given.notify_one();
    }
    void Take()
    {
        std::unique_lock lock(m_mutex);
        m_given.wait(lock, [this] { return m_isHere; });
        m_isHere = false;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_given;
    bool m_isHere = false;
};

} // namespace sim
