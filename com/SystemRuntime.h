#pragma once

#include "com/Com.h"
#include "com/Components.h"
#include "com/Registration.h"

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

/// Fills in what the system's registry says of a class; false when it knows none of this id.
[[nodiscard]] bool DescribeClass(REFCLSID classId, SComponentInfo& info);

/// Prepares for registrations of this scope: on Windows what is written below the system's classes goes to the user's
/// from now on, or no more. Nothing to do elsewhere.
[[nodiscard]] HRESULT SetRegistrationScope(eRegistrationScope scope);

} // namespace com_system
