#include "plugins/datastore/SourceChanges.h"

#include "com/CreateInstance.h"

namespace {

CComPtr<IWQ_DsEventsData> MakeEvent(eDsEventKind kind)
{
    auto event = CreateInstanceZEL<IWQ_DsEventsData>(kClsidDsEventsData);
    ThrowIfFailed(event->PutKind(kind));
    return event;
}

CComPtr<IWQ_DsEventsData> SourcesEvent(eDsEventKind kind, const std::vector<GUID>& tables)
{
    auto event = MakeEvent(kind);
    const auto set = MakeDsGuidSet();
    for (const GUID& table : tables)
        ThrowIfFailed(set->Add(&table));
    ThrowIfFailed(event->PutChangedSources(set.Get()));
    return event;
}

/// Null when there is nothing to list.
CComPtr<IWQ_DsList> ListOf(const std::vector<std::pair<GUID, STableChange>>& changes,
                           std::vector<LONG> STableChange::*part)
{
    CComPtr<IWQ_DsList> list;
    for (const auto& [table, change] : changes) {
        for (const LONG id : change.*part) {
            if (!list)
                list = MakeDsList();
            ThrowIfFailed(list->AddItem(&table, id));
        }
    }
    return list;
}

/// How the sink fares with it is the sink's to report.
void TellEvent(IWQ_DsEventSink& sink, const CComPtr<IWQ_DsEventsData>& event)
{
    static_cast<void>(sink.OnChangedDs(event.Get()));
}

} // namespace

void CSourceChanges::AddRows(const GUID& table, STableChange change)
{
    if (change.isWhole)
        m_whole.push_back(table);
    else if (change.Count() != 0)
        m_rows.emplace_back(table, std::move(change));
}

CComPtr<IWQ_DsEventsData> CSourceChanges::ItemsEvent() const
{
    auto event = MakeEvent(eDsEventKind_Items);
    ThrowIfFailed(event->PutAddedItems(ListOf(m_rows, &STableChange::added).Get()));
    ThrowIfFailed(event->PutChangedItems(ListOf(m_rows, &STableChange::changed).Get()));
    ThrowIfFailed(event->PutRemovedItems(ListOf(m_rows, &STableChange::removed).Get()));
    return event;
}

void CSourceChanges::Tell(IWQ_DsEventSink& sink) const
{
    if (!m_structure.empty())
        TellEvent(sink, SourcesEvent(eDsEventKind_Sources, m_structure));
    if (!m_whole.empty())
        TellEvent(sink, SourcesEvent(eDsEventKind_Reload, m_whole));
    if (!m_rows.empty())
        TellEvent(sink, ItemsEvent());
    if (m_bLocks)
        static_cast<void>(sink.OnChangedLockResults());
}
