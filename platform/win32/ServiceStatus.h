#pragma once

#include "platform/Mutex.h"
#include "platform/win32/WindowsHeader.h"

#include <chrono>
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
    void Tell(DWORD state) ZEL_REQUIRES(m_mutex);

    CMutex m_mutex;
    SERVICE_STATUS_HANDLE m_handle ZEL_GUARDED_BY(m_mutex) = nullptr;
    SERVICE_STATUS m_status ZEL_GUARDED_BY(m_mutex){};
    std::optional<std::chrono::milliseconds> m_patience ZEL_GUARDED_BY(m_mutex);
};

/// Asks this process to stop in the way in which other processes do.
void SignalOwnStop();
/// The same for reading again what it was configured by.
void SignalOwnReload();

} // namespace platform::win32
