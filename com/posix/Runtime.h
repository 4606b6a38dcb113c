#pragma once

#include "com/posix/Types.h"
#include "platform/Export.h"

// The functions of the COM runtime where the system has none. Do not include this directly; include "com/Com.h".
// All are safe from any thread and throw nothing.

/// Copies a zero-terminated text; null for a null text and when there is no memory.
ZEL_FRAMEWORK_API BSTR SysAllocString(const OLECHAR* text) noexcept;
/// Copies length characters; a null text leaves them undefined, zero-terminated all the same.
ZEL_FRAMEWORK_API BSTR SysAllocStringLen(const OLECHAR* text, UINT length) noexcept;
/// Frees what the two above made. Null is nothing to do.
ZEL_FRAMEWORK_API void SysFreeString(BSTR text) noexcept;
/// Characters without the terminating zero; 0 for null.
ZEL_FRAMEWORK_API UINT SysStringLen(BSTR text) noexcept;
ZEL_FRAMEWORK_API UINT SysStringByteLen(BSTR text) noexcept;

ZEL_FRAMEWORK_API void VariantInit(VARIANT* variant) noexcept;
/// Frees what the value owns and makes it empty. DISP_E_BADVARTYPE for a type that this runtime does not have.
ZEL_FRAMEWORK_API HRESULT VariantClear(VARIANT* variant) noexcept;
/// Clears the target and copies: texts are duplicated, interfaces counted.
ZEL_FRAMEWORK_API HRESULT VariantCopy(VARIANT* target, const VARIANT* source) noexcept;

ZEL_FRAMEWORK_API void* CoTaskMemAlloc(SIZE_T bytes) noexcept;
ZEL_FRAMEWORK_API void CoTaskMemFree(void* memory) noexcept;

/// Counts the initialisations of the calling thread: S_OK for the first, S_FALSE for a further one. Each success is
/// paired with one CoUninitialize. The reserved argument must be null.
ZEL_FRAMEWORK_API HRESULT CoInitialize(void* reserved) noexcept;
ZEL_FRAMEWORK_API void CoUninitialize() noexcept;

/// Makes an object of a class: the DOM document, or a class of the component table (com/Components.h).
/// CO_E_NOTINITIALIZED on a thread without CoInitialize, REGDB_E_CLASSNOTREG for an unknown class or a context without
/// CLSCTX_INPROC_SERVER.
ZEL_FRAMEWORK_API HRESULT CoCreateInstance(REFCLSID classId, IUnknown* outer, DWORD context, REFIID iid,
                                           void** object) noexcept;

ZEL_FRAMEWORK_API HRESULT CoCreateGuid(GUID* guid) noexcept;
/// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" in upper case; the caller frees it with CoTaskMemFree.
ZEL_FRAMEWORK_API HRESULT StringFromCLSID(REFCLSID classId, LPOLESTR* text) noexcept;
/// Takes the braced form alone, in either case. CO_E_CLASSSTRING for anything else; the id is then all zero, as it is
/// for a null text, which is no failure.
ZEL_FRAMEWORK_API HRESULT CLSIDFromString(LPCOLESTR text, CLSID* classId) noexcept;
