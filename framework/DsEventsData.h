#pragma once

#include "com/Com.h"
#include "com/ComPtr.h"
#include "platform/Export.h"

/// What one change of the data storage was: which items of which data sources. A data source is named by a GUID that
/// its owner gives it, an item by a 32-bit id inside its source. The objects are not synchronised: whoever fills one
/// hands it over whole.
///
/// Every operation gives E_POINTER for a null pointer.

/// Numbers of one data source, in order: the ids of items, or what is said about them.
struct IWQ_DsItems : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetCount(LONG* count) = 0;
    /// S_FALSE, with 0, behind the last.
    virtual HRESULT STDMETHODCALLTYPE GetItem(LONG index, LONG* item) = 0;
    virtual HRESULT STDMETHODCALLTYPE Add(LONG item) = 0;
};

/// Numbers by data source; each source once, in the order in which they were added.
struct IWQ_DsList : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetKeyCount(LONG* count) = 0;
    /// S_FALSE, with a null GUID, behind the last.
    virtual HRESULT STDMETHODCALLTYPE GetKey(LONG index, GUID* key) = 0;
    /// The numbers of the key at a place; S_FALSE, with null, behind the last.
    virtual HRESULT STDMETHODCALLTYPE GetItemsAt(LONG index, IWQ_DsItems** items) = 0;
    /// The numbers of a key; S_FALSE, with null, when there are none.
    virtual HRESULT STDMETHODCALLTYPE Find(const GUID* key, IWQ_DsItems** items) = 0;
    /// Puts a key with its numbers at the end and keeps a reference to them; S_FALSE, with nothing changed, when the
    /// key is there.
    virtual HRESULT STDMETHODCALLTYPE Put(const GUID* key, IWQ_DsItems* items) = 0;
    /// Adds a number to a key, and the key when it is not there.
    virtual HRESULT STDMETHODCALLTYPE AddItem(const GUID* key, LONG item) = 0;
};

/// GUIDs, each once, in the order in which they were added.
struct IWQ_DsGuidSet : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetCount(LONG* count) = 0;
    /// S_FALSE, with a null GUID, behind the last.
    virtual HRESULT STDMETHODCALLTYPE GetAt(LONG index, GUID* value) = 0;
    /// S_OK when it is in the set, else S_FALSE.
    virtual HRESULT STDMETHODCALLTYPE Contains(const GUID* value) = 0;
    /// S_FALSE when it was there.
    virtual HRESULT STDMETHODCALLTYPE Add(const GUID* value) = 0;
};

/// What a change of the data storage was about.
enum eDsEventKind : LONG {
    eDsEventKind_Unknown = -1, ///< the event does not say
    eDsEventKind_Items = 0,    ///< items came, went or changed
    eDsEventKind_Sources = 1,  ///< data sources came, went or got another structure
    eDsEventKind_Reload = 2,   ///< too much changed to tell: read everything again
};

/// One event. Its parts in their order; each may be missing (Get: S_FALSE with null; Put with null takes it away). What
/// is handed out is the part itself, not a copy.
struct IWQ_DsEventsData : public IUnknown {
    /// First list: ids of items that are new.
    virtual HRESULT STDMETHODCALLTYPE GetAddedItems(IWQ_DsList** list) = 0;
    virtual HRESULT STDMETHODCALLTYPE PutAddedItems(IWQ_DsList* list) = 0;
    /// Second list: ids of items whose values changed.
    virtual HRESULT STDMETHODCALLTYPE GetChangedItems(IWQ_DsList** list) = 0;
    virtual HRESULT STDMETHODCALLTYPE PutChangedItems(IWQ_DsList* list) = 0;
    /// Third list: ids of items that are gone.
    virtual HRESULT STDMETHODCALLTYPE GetRemovedItems(IWQ_DsList** list) = 0;
    virtual HRESULT STDMETHODCALLTYPE PutRemovedItems(IWQ_DsList* list) = 0;
    /// Fourth list: ids of items that have another name.
    virtual HRESULT STDMETHODCALLTYPE GetRenamedItems(IWQ_DsList** list) = 0;
    virtual HRESULT STDMETHODCALLTYPE PutRenamedItems(IWQ_DsList* list) = 0;
    /// GUID set: data sources that changed as a whole.
    virtual HRESULT STDMETHODCALLTYPE GetChangedSources(IWQ_DsGuidSet** sources) = 0;
    virtual HRESULT STDMETHODCALLTYPE PutChangedSources(IWQ_DsGuidSet* sources) = 0;
    /// Kind: an eDsEventKind; others are kept as they are. eDsEventKind_Unknown at first.
    virtual HRESULT STDMETHODCALLTYPE GetKind(LONG* kind) = 0;
    virtual HRESULT STDMETHODCALLTYPE PutKind(LONG kind) = 0;
    /// Fifth list: ids of items that did not change themselves but follow from others that did.
    virtual HRESULT STDMETHODCALLTYPE GetAffectedItems(IWQ_DsList** list) = 0;
    virtual HRESULT STDMETHODCALLTYPE PutAffectedItems(IWQ_DsList* list) = 0;
    /// Index table of the second list: by data source, the indexes of the columns that changed. It travels with the
    /// second list and for its sources alone.
    virtual HRESULT STDMETHODCALLTYPE GetChangedColumns(IWQ_DsList** table) = 0;
    virtual HRESULT STDMETHODCALLTYPE PutChangedColumns(IWQ_DsList* table) = 0;
};

/// Class of the events object, to be made through CoCreateInstanceZEL. It is empty at first.
inline constexpr CLSID kClsidDsEventsData = {
    0xA0B0E217, 0xA35E, 0x11D4, {0xB3, 0xD0, 0x00, 0x10, 0x4B, 0xC3, 0xB5, 0x31}};

/// Empty parts. Throw std::bad_alloc.
[[nodiscard]] ZEL_FRAMEWORK_API CComPtr<IWQ_DsItems> MakeDsItems();
[[nodiscard]] ZEL_FRAMEWORK_API CComPtr<IWQ_DsList> MakeDsList();
[[nodiscard]] ZEL_FRAMEWORK_API CComPtr<IWQ_DsGuidSet> MakeDsGuidSet();

ZEL_DECLARE_IID(IWQ_DsEventsData, 0xA0B0E216, 0xA35E, 0x11D4, 0xB3, 0xD0, 0x00, 0x10, 0x4B, 0xC3, 0xB5, 0x31);
ZEL_DECLARE_IID(IWQ_DsItems, 0x1BB2545A, 0xA3F9, 0x402A, 0xA4, 0x86, 0x93, 0xC5, 0x2A, 0xDF, 0xDF, 0x47);
ZEL_DECLARE_IID(IWQ_DsList, 0x6AE2573D, 0x91CA, 0x4915, 0xB7, 0x6C, 0x83, 0x27, 0x35, 0x31, 0x7E, 0xDD);
ZEL_DECLARE_IID(IWQ_DsGuidSet, 0x4132210F, 0x0FBA, 0x4E9C, 0x9B, 0x95, 0xA7, 0x6E, 0x17, 0x26, 0x22, 0xE0);
