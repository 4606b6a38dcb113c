#pragma once

#include "bench/BenchError.h"
#include "com/ZelCom.h"

/// COM on the main thread.
class CPartCom {
public:
    CPartCom() : m_isSystem(SUCCEEDED(CoInitializeSYS(nullptr))), m_isZel(SUCCEEDED(CoInitializeZEL(nullptr)))
    {
        if (!m_isSystem || !m_isZel)
            Fail(L"COM could not be initialised");
    }
    ~CPartCom()
    {
        CoUninitializeZEL();
        CoUninitializeSYS();
    }
    CPartCom(const CPartCom&) = delete;
    CPartCom& operator=(const CPartCom&) = delete;

private:
    bool m_isSystem;
    bool m_isZel;
};
