#pragma once

#include "platform/win32/WindowsHeader.h"

#include <chrono>
#include <mutex>
#include <optional>
#include <string>

namespace platform::win32 {

/// The state of the service that this process is, as the system is told of it. From any thread.
class CServiceStatus {
public:
    /// The one of this process. Never destroyed: the system's threads may ask for it until the end.
    [[nodiscard]] static CServiceStatus& Instance();

    /// Tells that the service starts. False when the system has not started this process as one.
    [[nodiscard]] bool Begin(const std::wstring& name);
    [[nodiscard]] bool IsService();
    void TellRunning();
    void TellStopping();
    /// Nothing can be told after this.
    void TellStopped(int result);
    /// Keeps the system's patience while the service starts or stops.
    void TellProgress();
    /// How much time the body has to stop by itself, from when it was asked to; empty as long as it was not.
    [[nodiscard]] std::optional<std::chrono::milliseconds> Patience();

private:
    static DWORD WINAPI OnControl(DWORD control, DWORD eventType, void* eventData, void* self);
    void Stop(std::chrono::milliseconds patience);
    /// With m_mutex held.
    void Tell(DWORD state);

    std::mutex m_mutex;
    // Guarded by m_mutex.
    SERVICE_STATUS_HANDLE m_handle = nullptr;
    SERVICE_STATUS m_status{};
    std::optional<std::chrono::milliseconds> m_patience;
};

/// Asks this process to stop in the way in which other processes do.
void SignalOwnStop();

} // namespace platform::win32
