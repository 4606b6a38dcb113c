#pragma once

#include "com/ZelCom.h"

/// COM on a thread of a program, as long as the object lives. On one that has it already this only counts.
class CComThread {
public:
    CComThread() : m_isSystem(SUCCEEDED(CoInitializeSYS(nullptr))), m_isZel(SUCCEEDED(CoInitializeZEL(nullptr))) {}
    ~CComThread()
    {
        if (m_isZel)
            CoUninitializeZEL();
        if (m_isSystem)
            CoUninitializeSYS();
    }
    CComThread(const CComThread&) = delete;
    CComThread& operator=(const CComThread&) = delete;

    [[nodiscard]] bool IsReady() const { return m_isSystem && m_isZel; }

private:
    bool m_isSystem;
    bool m_isZel;
};
