#pragma once

#include "platform/OsError.h"
#include "platform/win32/SystemError.h"
#include "platform/win32/WindowsHeader.h"

#include <cstddef>
#include <span>
#include <vector>

namespace platform::win32 {

/// The list of handles that a child inherits: these and no other, whatever other threads start meanwhile.
class CInheritedHandles {
public:
    CInheritedHandles() = default;
    ~CInheritedHandles()
    {
        if (m_bMade) {
            DeleteProcThreadAttributeList(Get());
        }
    }
    CInheritedHandles(const CInheritedHandles&) = delete;
    CInheritedHandles& operator=(const CInheritedHandles&) = delete;

    /// The handles must stay where they are until the process is made.
    [[nodiscard]] eOsError Set(std::span<HANDLE> handles)
    {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        m_memory.resize(size);
        m_bMade = InitializeProcThreadAttributeList(Get(), 1, 0, &size) != FALSE;
        const bool done = m_bMade && UpdateProcThreadAttribute(Get(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST,
                                                               handles.data(), handles.size_bytes(), nullptr, nullptr);
        return done ? eOsError_None : LastOsError();
    }

    [[nodiscard]] LPPROC_THREAD_ATTRIBUTE_LIST Get()
    {
        return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(m_memory.data());
    }

private:
    std::vector<std::byte> m_memory;
    bool m_bMade = false;
};

} // namespace platform::win32
