#include "DsEventRecord.h"

#include "ArchiveRoom.h"
#include "com/CreateInstance.h"

namespace DsEventRecord {

namespace {

/// The bytes are no record. Ends the reading of the one that it is thrown in.
struct SNoRecord {};

void Require(bool condition)
{
    if (!condition)
        throw SNoRecord();
}

int ReadInt(_ar::archive& archive)
{
    int value = 0;
    archive >> value;
    return value;
}

void RequireVersion(_ar::archive& archive, const SVersion& version)
{
    Require(ReadInt(archive) == version.version);
    Require(ReadInt(archive) == version.subVersion);
}

/// A count of things of which each takes so many bytes at least: what is left must have room for them.
void RequireRoom(_ar::archive& archive, int count, unsigned bytesOfEach)
{
    Require(count >= 0 && static_cast<ULONGLONG>(count) <= BytesLeft(archive) / bytesOfEach);
}

int ReadCount(_ar::archive& archive, unsigned bytesOfEach)
{
    const int count = ReadInt(archive);
    RequireRoom(archive, count, bytesOfEach);
    return count;
}

CComPtr<IWQ_DsItems> ReadItems(_ar::archive& archive, int count)
{
    CComPtr<IWQ_DsItems> items = MakeDsItems();
    for (int i = 0; i < count; ++i)
        ThrowIfFailed(items->Add(ReadInt(archive)));
    return items;
}

CComPtr<IWQ_DsList> ReadList(_ar::archive& archive)
{
    RequireVersion(archive, kListVersion);
    const int keys = ReadCount(archive, sizeof(GUID) + sizeof(LONG));
    CComPtr<IWQ_DsList> list = MakeDsList();
    for (int i = 0; i < keys; ++i) {
        GUID key = {};
        archive >> key;
        const CComPtr<IWQ_DsItems> items = ReadItems(archive, ReadCount(archive, sizeof(LONG)));
        const HRESULT put = list->Put(&key, items.Get());
        ThrowIfFailed(put);
        Require(put == S_OK); // a map has each key once
    }
    return list;
}

CComPtr<IWQ_DsGuidSet> ReadGuidSet(_ar::archive& archive)
{
    RequireVersion(archive, kGuidSetVersion);
    const int count = ReadCount(archive, sizeof(GUID));
    CComPtr<IWQ_DsGuidSet> set = MakeDsGuidSet();
    for (int i = 0; i < count; ++i) {
        GUID value = {};
        archive >> value;
        const HRESULT added = set->Add(&value);
        ThrowIfFailed(added);
        Require(added == S_OK);
    }
    return set;
}

/// The indexes of one key; null when the table has none for it.
CComPtr<IWQ_DsItems> ReadIndexes(_ar::archive& archive)
{
    const int count = ReadInt(archive);
    if (count == kNoIndexes)
        return nullptr;
    RequireRoom(archive, count, sizeof(LONG));
    return ReadItems(archive, count);
}

/// The index table as far as it is about the keys of the list; null when it has no entries at all.
CComPtr<IWQ_DsList> ReadIndexMap(_ar::archive& archive, IWQ_DsList& changed)
{
    Require(ReadInt(archive) == kIndexMapVersion);
    const int entries = ReadInt(archive);
    Require(entries >= 0);
    LONG keys = 0;
    ThrowIfFailed(changed.GetKeyCount(&keys));
    CComPtr<IWQ_DsList> table = MakeDsList();
    LONG found = 0;
    for (LONG i = 0; i < keys; ++i) {
        const CComPtr<IWQ_DsItems> indexes = ReadIndexes(archive);
        if (!indexes)
            continue;
        GUID key = {};
        ThrowIfFailed(changed.GetKey(i, &key));
        ThrowIfFailed(table->Put(&key, indexes.Get()));
        ++found;
    }
    Require(found <= entries); // a table may have more keys than the list, but not fewer than were found
    return entries == 0 ? nullptr : table;
}

bool ReadFlag(_ar::archive& archive)
{
    unsigned char flag = 0;
    archive >> flag;
    Require(flag <= 1);
    return flag == 1;
}

using ListSetter = HRESULT (STDMETHODCALLTYPE IWQ_DsEventsData::*)(IWQ_DsList*);

void ReadOptionalList(_ar::archive& archive, IWQ_DsEventsData& event, ListSetter put)
{
    if (ReadFlag(archive))
        ThrowIfFailed((event.*put)(ReadList(archive).Get()));
}

void ReadChangedItems(_ar::archive& archive, IWQ_DsEventsData& event)
{
    if (!ReadFlag(archive))
        return;
    const CComPtr<IWQ_DsList> changed = ReadList(archive);
    ThrowIfFailed(event.PutChangedItems(changed.Get()));
    ThrowIfFailed(event.PutChangedColumns(ReadIndexMap(archive, *changed).Get()));
}

} // namespace

bool Read(_ar::archive& archive, IWQ_DsEventsData& event)
{
    try {
        RequireVersion(archive, kEventVersion);
        ThrowIfFailed(event.PutKind(ReadInt(archive)));
        ReadOptionalList(archive, event, &IWQ_DsEventsData::PutAddedItems);
        ReadChangedItems(archive, event);
        ReadOptionalList(archive, event, &IWQ_DsEventsData::PutRemovedItems);
        ReadOptionalList(archive, event, &IWQ_DsEventsData::PutRenamedItems);
        if (ReadFlag(archive))
            ThrowIfFailed(event.PutChangedSources(ReadGuidSet(archive).Get()));
        ReadOptionalList(archive, event, &IWQ_DsEventsData::PutAffectedItems);
        return true;
    } catch (const SNoRecord&) {
        return false;
    }
}

CComPtr<IWQ_DsEventsData> Copy(IWQ_DsEventsData& event)
{
    const auto written = CreateInstanceZEL<IWQ_MemoryArchive>(kClsidMemoryArchive);
    _ar::archive out(written.QueryTo<IWQ_Archive>().Get());
    Write(out, event);
    const void* bytes = nullptr;
    ULONG count = 0;
    ThrowIfFailed(written->GetData(&bytes, &count));
    const auto stored = CreateInstanceZEL<IWQ_MemoryArchive>(kClsidMemoryArchive);
    ThrowIfFailed(stored->PutData(bytes, count));
    _ar::archive in(stored.QueryTo<IWQ_Archive>().Get());
    CComPtr<IWQ_DsEventsData> copy = CreateInstanceZEL<IWQ_DsEventsData>(kClsidDsEventsData);
    if (!Read(in, *copy) || BytesLeft(in) != 0)
        throw CComError(E_INVALIDARG);
    return copy;
}

} // namespace DsEventRecord
