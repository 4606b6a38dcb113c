#include "plugins/datastore/Palette.h"

HRESULT ChangedGroups(IWQ_DsEventsData* events, VARIANT_BOOL* groupsChanged, IWQ_CLSIDArray** groups,
                      VARIANT_BOOL* projectNeedsUpdate)
{
    if (groupsChanged == nullptr || groups == nullptr || projectNeedsUpdate == nullptr)
        return E_POINTER;
    *groupsChanged = VARIANT_FALSE;
    *groups = nullptr;
    *projectNeedsUpdate = VARIANT_FALSE;
    LONG kind = eDsEventKind_Unknown;
    CComPtr<IWQ_DsGuidSet> tables;
    LONG count = 0;
    if (events == nullptr || FAILED(events->GetKind(&kind)) || kind != eDsEventKind_Sources ||
        FAILED(events->GetChangedSources(tables.Put())) || !tables || FAILED(tables->GetCount(&count)) || count == 0)
        return S_OK;

    CComPtr<IWQ_CLSIDArray> list;
    ThrowIfFailed(CreateWQ_CLSIDArray(ComIid<IWQ_CLSIDArray>(), list.PutVoid()));
    for (LONG index = 0; index < count; ++index) {
        GUID table = {};
        ThrowIfFailed(tables->GetAt(index, &table));
        ThrowIfFailed(list->Add(&table));
    }
    *groups = list.Detach();
    *groupsChanged = VARIANT_TRUE;
    *projectNeedsUpdate = VARIANT_TRUE;
    return S_OK;
}
