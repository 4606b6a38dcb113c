#pragma once

#include "platform/OsError.h"
#include "platform/win32/WindowsHeader.h"

#include <chrono>

namespace platform::win32 {

/// The failure of the call just made, never None.
[[nodiscard]] eOsError LastOsError();
/// A failure number of the system in our vocabulary: numbers with the same meaning for us become one.
[[nodiscard]] eOsError ToOsError(DWORD error);

/// A duration as the system's waits take it. What is too long becomes the longest finite time.
[[nodiscard]] DWORD ToWaitTime(std::chrono::milliseconds duration);

/// The address of a function that not every version of the system has; null when it is missing.
template <typename Function>
[[nodiscard]] Function OptionalFunction(const wchar_t* module, const char* name)
{
    const HMODULE loaded = GetModuleHandleW(module);
    return loaded == nullptr ? nullptr : reinterpret_cast<Function>(GetProcAddress(loaded, name));
}

} // namespace platform::win32
