#pragma once

#include "com/ZelCom.h"

/// COM on a thread, as long as the object lives. Both runtimes are initialised whatever the first one answered.
class CComThread {
public:
    enum eEnd {
        eEnd_Each,      ///< takes back what was initialised; on a thread that has COM already this only counts
        eEnd_WhenFresh, ///< takes back both when both were entirely fresh, else neither
    };

    explicit CComThread(eEnd end = eEnd_Each) : m_system(CoInitializeSYS(nullptr)), m_zel(CoInitializeZEL(nullptr))
    {
        if (end == eEnd_WhenFresh && (FAILED(m_system) || m_zel != S_OK))
            m_system = m_zel = E_FAIL;
    }
    ~CComThread()
    {
        if (SUCCEEDED(m_zel))
            CoUninitializeZEL();
        if (SUCCEEDED(m_system))
            CoUninitializeSYS();
    }
    CComThread(const CComThread&) = delete;
    CComThread& operator=(const CComThread&) = delete;

    [[nodiscard]] bool IsReady() const { return SUCCEEDED(m_system) && SUCCEEDED(m_zel); }

private:
    HRESULT m_system;
    HRESULT m_zel;
};
