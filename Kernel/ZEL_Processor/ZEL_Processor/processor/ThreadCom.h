#pragma once

#include "com/ZelCom.h"

/// COM on a worker thread. Both runtimes are initialised whatever the first one answered; only a thread whose
/// initialisation was entirely fresh takes it back.
class CThreadCom {
public:
    CThreadCom()
    {
        const HRESULT system = CoInitializeSYS(nullptr);
        const HRESULT zel = CoInitializeZEL(nullptr);
        m_result = FAILED(system) ? system : zel;
    }
    ~CThreadCom()
    {
        if (m_result != S_OK)
            return;
        CoUninitializeZEL();
        CoUninitializeSYS();
    }
    CThreadCom(const CThreadCom&) = delete;
    CThreadCom& operator=(const CThreadCom&) = delete;

private:
    HRESULT m_result;
};
