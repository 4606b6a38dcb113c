#pragma once

#include "ZEL_Processor/ZelExport.h"
#include "com/Com.h"

/// A yes or no that a project remembers in its named storage. Objects of the class below are archive objects as well
/// (IWQ_ArchiveObj). Not synchronised.
struct IWQ_ProjectMarker : public IUnknown {
    /// VARIANT_TRUE or VARIANT_FALSE, which it is at first. E_POINTER for null.
    virtual HRESULT STDMETHODCALLTYPE GetValue(VARIANT_BOOL* value) = 0;
    /// Everything but VARIANT_FALSE is VARIANT_TRUE.
    virtual HRESULT STDMETHODCALLTYPE PutValue(VARIANT_BOOL value) = 0;
};

ZEL_DECLARE_IID(IWQ_ProjectMarker, 0x2D329DFD, 0x7B6C, 0x48AA, 0xAE, 0xF8, 0x30, 0xA0, 0xBB, 0x1A, 0xC0, 0xFC);

/// Class of a marker; CoCreateInstanceZEL knows it in every process that has loaded the library.
inline constexpr CLSID CLSID_WQ_ProjectMarker = {
    0x80B888D7, 0x3945, 0x47E4, {0x88, 0x58, 0xBE, 0x47, 0x69, 0x1E, 0xFD, 0x70}};

/// The same without COM's help. E_POINTER, E_NOINTERFACE, E_OUTOFMEMORY.
ZEL_API HRESULT CreateWQ_ProjectMarker(REFIID iid, void** object) noexcept;
