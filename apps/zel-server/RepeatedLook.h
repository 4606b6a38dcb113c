#pragma once

#include "platform/Thread.h"

#include <functional>

/// Looks again and again, somewhat more often than once a second, on a thread of its own: a look at a file system that
/// hangs lasts as long as that does, and who waits for signals must hear them.
class CRepeatedLook {
public:
    CRepeatedLook() = default;
    /// Waits for a look that is under way.
    ~CRepeatedLook();
    CRepeatedLook(const CRepeatedLook&) = delete;
    CRepeatedLook& operator=(const CRepeatedLook&) = delete;

    /// The first look is at once; one that gives false is the last. Called with COM; must not throw. False when the
    /// system has no thread to give. Once.
    [[nodiscard]] bool Start(std::function<bool()> look);
    /// Begins no further look, and waits for half a second for one that is under way: one that hangs is left to itself.
    void End();

private:
    platform::CManualResetEvent m_evEnd;
    platform::CThread m_thread;
};
