#pragma once

#include "platform/win32/WindowsHeader.h"

#include <utility>

namespace platform::win32 {

/// The owner of a kernel handle that CloseHandle ends. Takes both of the system's "no handle" values for none.
class CHandle {
public:
    CHandle() = default;
    explicit CHandle(HANDLE handle) : m_handle(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {}
    ~CHandle() { Close(); }
    CHandle(CHandle&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr)) {}
    CHandle& operator=(CHandle&& other) noexcept
    {
        if (this != &other) {
            Close();
            m_handle = std::exchange(other.m_handle, nullptr);
        }
        return *this;
    }
    CHandle(const CHandle&) = delete;
    CHandle& operator=(const CHandle&) = delete;

    [[nodiscard]] HANDLE Get() const { return m_handle; }
    [[nodiscard]] explicit operator bool() const { return m_handle != nullptr; }

    /// Closes what is held; the thread's last error stays as it was.
    void Close()
    {
        if (m_handle == nullptr) {
            return;
        }
        const DWORD error = GetLastError();
        CloseHandle(std::exchange(m_handle, nullptr));
        SetLastError(error);
    }

private:
    HANDLE m_handle = nullptr;
};

} // namespace platform::win32
