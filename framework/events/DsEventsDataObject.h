#pragma once

#include "com/ComObject.h"
#include "framework/DsEventsData.h"

/// The events object; see IWQ_DsEventsData.
class CDsEventsData final : public CComObject<IWQ_DsEventsData> {
public:
    HRESULT STDMETHODCALLTYPE GetAddedItems(IWQ_DsList** list) override { return HandOut(m_added, list); }
    HRESULT STDMETHODCALLTYPE PutAddedItems(IWQ_DsList* list) override { return Keep(m_added, list); }
    HRESULT STDMETHODCALLTYPE GetChangedItems(IWQ_DsList** list) override { return HandOut(m_changed, list); }
    HRESULT STDMETHODCALLTYPE PutChangedItems(IWQ_DsList* list) override { return Keep(m_changed, list); }
    HRESULT STDMETHODCALLTYPE GetRemovedItems(IWQ_DsList** list) override { return HandOut(m_removed, list); }
    HRESULT STDMETHODCALLTYPE PutRemovedItems(IWQ_DsList* list) override { return Keep(m_removed, list); }
    HRESULT STDMETHODCALLTYPE GetRenamedItems(IWQ_DsList** list) override { return HandOut(m_renamed, list); }
    HRESULT STDMETHODCALLTYPE PutRenamedItems(IWQ_DsList* list) override { return Keep(m_renamed, list); }
    HRESULT STDMETHODCALLTYPE GetChangedSources(IWQ_DsGuidSet** sources) override
    {
        return HandOut(m_sources, sources);
    }
    HRESULT STDMETHODCALLTYPE PutChangedSources(IWQ_DsGuidSet* sources) override { return Keep(m_sources, sources); }
    HRESULT STDMETHODCALLTYPE GetKind(LONG* kind) override
    {
        if (kind == nullptr)
            return E_POINTER;
        *kind = m_nKind;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE PutKind(LONG kind) override
    {
        m_nKind = kind;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetAffectedItems(IWQ_DsList** list) override { return HandOut(m_affected, list); }
    HRESULT STDMETHODCALLTYPE PutAffectedItems(IWQ_DsList* list) override { return Keep(m_affected, list); }
    HRESULT STDMETHODCALLTYPE GetChangedColumns(IWQ_DsList** table) override { return HandOut(m_columns, table); }
    HRESULT STDMETHODCALLTYPE PutChangedColumns(IWQ_DsList* table) override { return Keep(m_columns, table); }

private:
    template <class Part>
    static HRESULT HandOut(const CComPtr<Part>& part, Part** target)
    {
        const HRESULT result = part.CopyTo(target);
        return FAILED(result) || part ? result : S_FALSE;
    }
    template <class Part>
    static HRESULT Keep(CComPtr<Part>& part, Part* value)
    {
        part = value;
        return S_OK;
    }

    CComPtr<IWQ_DsList> m_added;
    CComPtr<IWQ_DsList> m_changed;
    CComPtr<IWQ_DsList> m_removed;
    CComPtr<IWQ_DsList> m_renamed;
    CComPtr<IWQ_DsGuidSet> m_sources;
    LONG m_nKind = eDsEventKind_Unknown;
    CComPtr<IWQ_DsList> m_affected;
    CComPtr<IWQ_DsList> m_columns;
};
