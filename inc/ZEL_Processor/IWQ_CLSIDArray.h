#pragma once

#include "ZEL_Processor/ZelExport.h"
#include "com/Com.h"
#include "com/ComPtr.h"

/// An ordered list of GUIDs in which one may stand more than once. Objects of the class below are archive objects as
/// well (IWQ_ArchiveObj). Not synchronised.
struct IWQ_CLSIDArray : public IUnknown {
    /// Appends at the end. E_POINTER for null.
    virtual HRESULT STDMETHODCALLTYPE Add(const GUID* value) = 0;
    /// 1 when an equal GUID is in the list, else 0; 0 for null.
    virtual BOOL STDMETHODCALLTYPE Contains(const GUID* value) = 0;
    /// The same value, so 1 and not VARIANT_TRUE. E_POINTER for a null target.
    virtual HRESULT STDMETHODCALLTYPE ContainsVB(const GUID* value, VARIANT_BOOL* contains) = 0;
    /// Takes out every equal GUID; S_FALSE when there was none, E_POINTER for null.
    virtual HRESULT STDMETHODCALLTYPE Remove(const GUID* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE RemoveAll() = 0;
    /// E_POINTER for null.
    virtual HRESULT STDMETHODCALLTYPE GetCount(ULONGLONG* count) = 0;
    /// E_POINTER for null and for an index behind the last.
    virtual HRESULT STDMETHODCALLTYPE GetAt(ULONGLONG index, GUID* value) = 0;
    /// Empties the target and adds everything to it in order. E_POINTER for null. A list copied onto itself stays as it
    /// is.
    virtual HRESULT STDMETHODCALLTYPE CopyTo(IWQ_CLSIDArray* target) = 0;
    /// E_POINTER for null and for an index behind the last.
    virtual HRESULT STDMETHODCALLTYPE SetAt(ULONGLONG index, const GUID* value) = 0;
};

ZEL_DECLARE_IID(IWQ_CLSIDArray, 0x3F62547A, 0xA291, 0x4E83, 0xB8, 0xA8, 0x0F, 0x1E, 0x95, 0x17, 0x74, 0x1D);

/// Class of an empty list; CoCreateInstanceZEL knows it in every process that has loaded the library.
inline constexpr CLSID CLSID_WQ_CLSIDArray = {
    0x857C58CE, 0x8D5E, 0x4341, {0x92, 0x5F, 0xD6, 0x4E, 0x40, 0xD9, 0x36, 0x6C}};

/// The same without COM's help. E_POINTER, E_NOINTERFACE, E_OUTOFMEMORY.
ZEL_API HRESULT CreateWQ_CLSIDArray(REFIID iid, void** object) noexcept;
