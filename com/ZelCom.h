#pragma once

#include "com/Com.h"
#include "platform/Export.h"

/// The entry points through which the system uses COM. "SYS" is the system's runtime alone; "ZEL" knows the process's
/// component table (com/Components.h) as well. None of them throws; all are safe from any thread.

/// As CoCreateInstance.
[[nodiscard]] ZEL_FRAMEWORK_API HRESULT CoCreateInstanceSYS(REFCLSID classId, IUnknown* outer, DWORD context,
                                                            REFIID iid, void** object) noexcept;
/// The same arguments and results. A class of the component table comes from there, every other one from the system.
/// Like the system's, it wants a thread that is initialised (CO_E_NOTINITIALIZED).
[[nodiscard]] ZEL_FRAMEWORK_API HRESULT CoCreateInstanceZEL(REFCLSID classId, IUnknown* outer, DWORD context,
                                                            REFIID iid, void** object) noexcept;

/// As CoInitialize and CoUninitialize.
ZEL_FRAMEWORK_API HRESULT CoInitializeSYS(void* reserved) noexcept;
ZEL_FRAMEWORK_API void CoUninitializeSYS() noexcept;

/// Initialises the thread for the "ZEL" entry points, with a count of its own: the first call on a thread gives S_OK
/// even when CoInitializeSYS was called before, a further one S_FALSE. It initialises the system's runtime as well.
ZEL_FRAMEWORK_API HRESULT CoInitializeZEL(void* reserved) noexcept;
/// Takes back one CoInitializeZEL of this thread; without one it does nothing.
ZEL_FRAMEWORK_API void CoUninitializeZEL() noexcept;

/// Takes the braced form alone. CO_E_CLASSSTRING for any other text, E_POINTER for a null pointer; the id is all zero
/// then. Unlike the system's own function it takes no program names.
ZEL_FRAMEWORK_API HRESULT CLSIDFromStringZEL(const wchar_t* text, GUID* guid) noexcept;
/// The braced form in upper case; the caller frees it with CoTaskMemFree.
ZEL_FRAMEWORK_API HRESULT StringFromCLSIDZEL(const GUID* guid, wchar_t** text) noexcept;
