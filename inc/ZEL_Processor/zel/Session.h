#pragma once

#include "com/ZelCom.h"

namespace zel {

/// COM on this thread, for as long as the object lives. Client, Request and Listener see to that by themselves for the
/// length of a call; a thread that makes many calls, or that uses the classes beneath, keeps one of its own. To be
/// destroyed on the thread that made it, after every COM object of that thread.
class Session {
public:
    Session() noexcept : m_system(CoInitializeSYS(nullptr)), m_zel(CoInitializeZEL(nullptr)) {}
    ~Session()
    {
        if (SUCCEEDED(m_zel))
            CoUninitializeZEL();
        if (SUCCEEDED(m_system))
            CoUninitializeSYS();
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Whether the thread can use COM; it can as well when somebody chose another way of it before, on Windows.
    explicit operator bool() const noexcept { return SUCCEEDED(m_system) || m_system == kChosenBefore; }

private:
    static constexpr HRESULT kChosenBefore = static_cast<HRESULT>(0x80010106); // RPC_E_CHANGED_MODE

    HRESULT m_system;
    HRESULT m_zel;
};

} // namespace zel
