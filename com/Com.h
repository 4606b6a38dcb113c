#pragma once

/// The COM surface: one set of names on every system. On Windows they are the system's own; elsewhere they come from a
/// small runtime that keeps the same contracts (counting, apartments left out: an object is called on whatever thread
/// the caller uses).
///
/// One source compiles on both when it uses LONG, ULONG and HRESULT for what COM passes, never long, and includes this
/// header instead of a system header.
#if defined(_WIN32)
#include "com/win32/System.h"
#else
#include "com/posix/Types.h"

#include "com/posix/Runtime.h"
#endif

/// Ties an interface to its id, for ComIid and CComPtr::QueryTo. Used once per interface, at global scope:
///   ZEL_DECLARE_IID(IFoo, 0x01234567, 0x89AB, 0xCDEF, 0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF)
template <class Interface>
struct SComIid;

#define ZEL_DECLARE_IID(Interface, d1, d2, d3, b1, b2, b3, b4, b5, b6, b7, b8)                                         \
    template <>                                                                                                        \
    struct SComIid<Interface> {                                                                                        \
        static constexpr GUID value = {d1, d2, d3, {b1, b2, b3, b4, b5, b6, b7, b8}};                                  \
    }

/// The id of an interface that was declared with ZEL_DECLARE_IID. A constant of static storage.
template <class Interface>
[[nodiscard]] constexpr const GUID& ComIid() noexcept
{
    return SComIid<Interface>::value;
}

ZEL_DECLARE_IID(IUnknown, 0x00000000, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
ZEL_DECLARE_IID(IDispatch, 0x00020400, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
ZEL_DECLARE_IID(IClassFactory, 0x00000001, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);

/// Marks the entry points that a component module exports (DllGetClassObject and its kin):
///   ZEL_COM_ENTRY DllCanUnloadNow() { ... }
#if defined(_WIN32)
#define ZEL_COM_ENTRY extern "C" __declspec(dllexport) HRESULT STDMETHODCALLTYPE
#else
#define ZEL_COM_ENTRY extern "C" __attribute__((visibility("default"))) HRESULT STDMETHODCALLTYPE
#endif
