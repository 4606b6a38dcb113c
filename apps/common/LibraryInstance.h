#pragma once

#include "ZEL_Processor/ZEL_ProcessorApp.h"

/// The library, started for as long as the object lives: in a program's main, around everything that uses it.
class CLibraryInstance {
public:
    CLibraryInstance() : m_isReady(ZEL_ProcessorApp().InitInstance()) {}
    ~CLibraryInstance()
    {
        ZEL_ProcessorApp().OnFreeGlobalInstances();
        ZEL_ProcessorApp().ExitInstance();
    }
    CLibraryInstance(const CLibraryInstance&) = delete;
    CLibraryInstance& operator=(const CLibraryInstance&) = delete;

    [[nodiscard]] bool IsReady() const { return m_isReady; }

private:
    bool m_isReady;
};
