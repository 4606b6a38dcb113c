#include "DsEventRecord.h"
#include "ZELAutomation/ZELAutomationEnvFile.h"
#include "framework/Exceptions.h"
#include "framework/Services.h"
#include "reports/ReportLines.h"
#include "reports/SourceNames.h"

namespace {

/// Writes what the items deliver, but not more than one beyond what they announced; gives how many they were.
LONG WriteItems(_ar::archive& archive, IWQ_DsItems& items, LONG announced)
{
    LONG written = 0;
    for (; written <= announced; ++written) {
        LONG item = 0;
        const HRESULT got = items.GetItem(written, &item);
        ThrowIfFailed(got);
        if (got == S_FALSE)
            break;
        archive << static_cast<int>(item);
    }
    return written;
}

} // namespace

void CZELEnvFileDsList::WriteDsList(_ar::archive& archive, const GUID& key, IWQ_DsItems& items)
{
    LONG count = 0;
    ThrowIfFailed(items.GetCount(&count));
    archive << key << static_cast<int>(count);
    if (WriteItems(archive, items, count) == count)
        return;
    WQ_ReportErrorNow(SourceNames::kZELAutomationEnvFile, ReportLines::kListMiscounted,
                      L"CZELEnvFileDsList::WriteDsList", L"Invalid count of stored elements !");
    AfxThrowNotSupportedException();
}

namespace DsEventRecord {

namespace {

template <class Part>
using Getter = HRESULT (STDMETHODCALLTYPE IWQ_DsEventsData::*)(Part**);

void WriteVersion(_ar::archive& archive, const SVersion& version)
{
    archive << version.version << version.subVersion;
}

/// Calls the body with each key of a list.
template <class Body>
void ForEachKey(IWQ_DsList& list, const Body& body)
{
    LONG count = 0;
    ThrowIfFailed(list.GetKeyCount(&count));
    for (LONG index = 0; index < count; ++index) {
        GUID key = {};
        // A list that does not have what it counted would make a file that nobody can read.
        if (list.GetKey(index, &key) != S_OK)
            throw CComError(E_FAIL);
        body(index, key);
    }
}

void WriteList(_ar::archive& archive, IWQ_DsList& list)
{
    LONG count = 0;
    ThrowIfFailed(list.GetKeyCount(&count));
    WriteVersion(archive, kListVersion);
    archive << static_cast<int>(count);
    ForEachKey(list, [&](LONG index, const GUID& key) {
        CComPtr<IWQ_DsItems> items;
        ThrowIfFailed(list.GetItemsAt(index, items.Put()));
        CZELEnvFileDsList::WriteDsList(archive, key, *items);
    });
}

void WriteGuidSet(_ar::archive& archive, IWQ_DsGuidSet& set)
{
    LONG count = 0;
    ThrowIfFailed(set.GetCount(&count));
    WriteVersion(archive, kGuidSetVersion);
    archive << static_cast<int>(count);
    for (LONG index = 0; index < count; ++index) {
        GUID value = {};
        if (set.GetAt(index, &value) != S_OK)
            throw CComError(E_FAIL);
        archive << value;
    }
}

void WriteIndexes(_ar::archive& archive, IWQ_DsList* table, const GUID& key)
{
    CComPtr<IWQ_DsItems> indexes;
    if (table != nullptr)
        ThrowIfFailed(table->Find(&key, indexes.Put()));
    if (!indexes) {
        archive << kNoIndexes;
        return;
    }
    LONG count = 0;
    ThrowIfFailed(indexes->GetCount(&count));
    archive << static_cast<int>(count);
    for (LONG index = 0; index < count; ++index) {
        LONG value = 0;
        if (indexes->GetItem(index, &value) != S_OK)
            throw CComError(E_FAIL);
        archive << static_cast<int>(value);
    }
}

void WriteIndexMap(_ar::archive& archive, IWQ_DsList& changed, IWQ_DsList* table)
{
    LONG entries = 0;
    if (table != nullptr)
        ThrowIfFailed(table->GetKeyCount(&entries));
    archive << kIndexMapVersion << static_cast<int>(entries);
    ForEachKey(changed, [&](LONG, const GUID& key) { WriteIndexes(archive, table, key); });
}

/// The flag whether the event has a part, and the part.
template <class Part, class Body>
void WritePart(_ar::archive& archive, IWQ_DsEventsData& event, Getter<Part> get, const Body& body)
{
    CComPtr<Part> part;
    ThrowIfFailed((event.*get)(part.Put()));
    const unsigned char flag = part ? 1 : 0;
    archive << flag;
    if (part)
        body(*part);
}

int KindOf(IWQ_DsEventsData& event)
{
    LONG kind = eDsEventKind_Unknown;
    return FAILED(event.GetKind(&kind)) ? static_cast<int>(eDsEventKind_Unknown) : static_cast<int>(kind);
}

} // namespace

void Write(_ar::archive& archive, IWQ_DsEventsData& event)
{
    const auto writeList = [&](IWQ_DsList& list) { WriteList(archive, list); };
    WriteVersion(archive, kEventVersion);
    archive << KindOf(event);
    WritePart(archive, event, &IWQ_DsEventsData::GetAddedItems, writeList);
    WritePart(archive, event, &IWQ_DsEventsData::GetChangedItems, [&](IWQ_DsList& changed) {
        CComPtr<IWQ_DsList> table;
        ThrowIfFailed(event.GetChangedColumns(table.Put()));
        WriteList(archive, changed);
        WriteIndexMap(archive, changed, table.Get());
    });
    WritePart(archive, event, &IWQ_DsEventsData::GetRemovedItems, writeList);
    WritePart(archive, event, &IWQ_DsEventsData::GetRenamedItems, writeList);
    WritePart(archive, event, &IWQ_DsEventsData::GetChangedSources,
              [&](IWQ_DsGuidSet& sources) { WriteGuidSet(archive, sources); });
    WritePart(archive, event, &IWQ_DsEventsData::GetAffectedItems, writeList);
}

} // namespace DsEventRecord
