#pragma once

#include "com/Com.h"

#include <vector>

/// What each system's COM runtime answers to the component table. Internal to com/.
namespace com_system {

/// True when the calling thread may create objects.
[[nodiscard]] bool IsThreadInitialized() noexcept;

/// Makes an object of a class that the component table does not know.
[[nodiscard]] HRESULT CreateInstance(REFCLSID classId, IUnknown* outer, DWORD context, REFIID iid,
                                     void** object) noexcept;

/// Appends the classes that the system itself registers for a category; none where the system has no registry of its
/// own.
void AppendCategory(const GUID& category, std::vector<CLSID>& classes);

} // namespace com_system
