#pragma once

#include "ZEL_Processor/IWQ_CLSIDArray.h"
#include "framework/DsEventsData.h"

#include <cstdint>
#include <vector>

namespace zel {

/// Numbers of one data source, which is named by a GUID: the ids of items, or the indexes of columns.
struct SourceNumbers {
    GUID source{};
    std::vector<std::int32_t> numbers;
};

/// What a change of the data was about.
enum class EventKind : std::int32_t {
    unknown = eDsEventKind_Unknown, ///< the event does not say
    items = eDsEventKind_Items,     ///< items came, went or changed
    sources = eDsEventKind_Sources, ///< data sources came, went or got another structure
    reload = eDsEventKind_Reload    ///< too much changed to tell: read everything again
};

/// One change of the data, by data source.
struct Event {
    EventKind kind = EventKind::unknown; ///< may be a number that is not above, from a newer server
    std::vector<SourceNumbers> added;    ///< ids of new items
    std::vector<SourceNumbers> changed;  ///< ids of items whose values changed
    std::vector<SourceNumbers> removed;  ///< ids of items that are gone
    std::vector<SourceNumbers> renamed;  ///< ids of items that have another name
    std::vector<SourceNumbers> affected; ///< ids of items that follow from others that changed
    std::vector<SourceNumbers> columns;  ///< indexes of the columns that changed, for the sources of changed
    std::vector<GUID> sources;           ///< data sources that changed as a whole
};

/// What came since the last look; nothing is told twice.
struct Changes {
    std::vector<Event> events; ///< oldest first
    std::vector<GUID> groups;  ///< groups of what a user can insert that changed
    bool allGroups = false;    ///< any of those groups may have changed
    bool lockResults = false;  ///< results of locking changed

    [[nodiscard]] bool empty() const { return events.empty() && groups.empty() && !allGroups && !lockResults; }
};

namespace detail {

[[nodiscard]] inline std::vector<std::int32_t> toNumbers(IWQ_DsItems& items)
{
    LONG count = 0;
    ThrowIfFailed(items.GetCount(&count));
    std::vector<std::int32_t> numbers;
    for (LONG index = 0; index < count; ++index) {
        LONG number = 0;
        ThrowIfFailed(items.GetItem(index, &number));
        numbers.push_back(static_cast<std::int32_t>(number));
    }
    return numbers;
}

using ListGetter = HRESULT (STDMETHODCALLTYPE IWQ_DsEventsData::*)(IWQ_DsList**);

/// A part that is missing is one of no sources.
[[nodiscard]] inline std::vector<SourceNumbers> toSources(IWQ_DsEventsData& data, ListGetter get)
{
    CComPtr<IWQ_DsList> list;
    ThrowIfFailed((data.*get)(list.Put()));
    std::vector<SourceNumbers> sources;
    LONG count = 0;
    if (list)
        ThrowIfFailed(list->GetKeyCount(&count));
    for (LONG index = 0; index < count; ++index) {
        SourceNumbers source;
        CComPtr<IWQ_DsItems> items;
        ThrowIfFailed(list->GetKey(index, &source.source));
        ThrowIfFailed(list->GetItemsAt(index, items.Put()));
        if (items)
            source.numbers = toNumbers(*items);
        sources.push_back(std::move(source));
    }
    return sources;
}

[[nodiscard]] inline std::vector<GUID> toGuids(IWQ_DsEventsData& data)
{
    CComPtr<IWQ_DsGuidSet> set;
    ThrowIfFailed(data.GetChangedSources(set.Put()));
    std::vector<GUID> guids;
    LONG count = 0;
    if (set)
        ThrowIfFailed(set->GetCount(&count));
    for (LONG index = 0; index < count; ++index)
        ThrowIfFailed(set->GetAt(index, &guids.emplace_back()));
    return guids;
}

[[nodiscard]] inline std::vector<GUID> toGuids(IWQ_CLSIDArray& array)
{
    ULONGLONG count = 0;
    ThrowIfFailed(array.GetCount(&count));
    std::vector<GUID> guids;
    for (ULONGLONG index = 0; index < count; ++index)
        ThrowIfFailed(array.GetAt(index, &guids.emplace_back()));
    return guids;
}

/// Throws CComError.
[[nodiscard]] inline Event toEvent(IWQ_DsEventsData& data)
{
    Event event;
    LONG kind = 0;
    ThrowIfFailed(data.GetKind(&kind));
    event.kind = static_cast<EventKind>(kind);
    event.added = toSources(data, &IWQ_DsEventsData::GetAddedItems);
    event.changed = toSources(data, &IWQ_DsEventsData::GetChangedItems);
    event.removed = toSources(data, &IWQ_DsEventsData::GetRemovedItems);
    event.renamed = toSources(data, &IWQ_DsEventsData::GetRenamedItems);
    event.affected = toSources(data, &IWQ_DsEventsData::GetAffectedItems);
    event.columns = toSources(data, &IWQ_DsEventsData::GetChangedColumns);
    event.sources = toGuids(data);
    return event;
}

} // namespace detail
} // namespace zel
