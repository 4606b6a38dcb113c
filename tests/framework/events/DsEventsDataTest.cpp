#include "framework/DsEventsData.h"

#include "tests/library/exchange/ExchangeFixture.h"

namespace {

class DsEventsData : public CExchangeTest {};

} // namespace

TEST_F(DsEventsData, ItemsKeepTheirOrder)
{
    const auto items = MakeDsItems();
    EXPECT_EQ(items->Add(5), S_OK);
    EXPECT_EQ(items->Add(-1), S_OK);
    EXPECT_EQ(items->Add(5), S_OK);
    LONG value = 0;
    EXPECT_EQ(items->GetCount(&value), S_OK);
    EXPECT_EQ(value, 3);
    EXPECT_EQ(items->GetItem(1, &value), S_OK);
    EXPECT_EQ(value, -1);
    for (const LONG index : {3, -1}) {
        value = 9;
        EXPECT_EQ(items->GetItem(index, &value), S_FALSE);
        EXPECT_EQ(value, 0);
    }
    EXPECT_EQ(items->GetCount(nullptr), E_POINTER);
    EXPECT_EQ(items->GetItem(0, nullptr), E_POINTER);
}

TEST_F(DsEventsData, AListHasEachKeyOnce)
{
    const auto list = MakeDsList();
    EXPECT_EQ(list->AddItem(&kSecondId, 1), S_OK);
    EXPECT_EQ(list->AddItem(&kFirstId, 2), S_OK);
    EXPECT_EQ(list->AddItem(&kSecondId, 3), S_OK);
    EXPECT_EQ(list->Put(&kFirstId, MakeDsItems().Get()), S_FALSE);
    EXPECT_EQ(list->Put(&kThirdId, MakeDsItems().Get()), S_OK);
    LONG count = 0;
    EXPECT_EQ(list->GetKeyCount(&count), S_OK);
    EXPECT_EQ(count, 3);
    GUID key = {};
    EXPECT_EQ(list->GetKey(0, &key), S_OK);
    EXPECT_TRUE(key == kSecondId);
    EXPECT_EQ(list->GetKey(3, &key), S_FALSE);
    EXPECT_TRUE(key == GUID_NULL);
    CComPtr<IWQ_DsItems> items;
    EXPECT_EQ(list->GetItemsAt(0, items.Put()), S_OK);
    EXPECT_EQ(items->GetCount(&count), S_OK);
    EXPECT_EQ(count, 2);
    CComPtr<IWQ_DsItems> found;
    EXPECT_EQ(list->Find(&kSecondId, found.Put()), S_OK);
    EXPECT_TRUE(found == items);
    EXPECT_EQ(list->GetItemsAt(3, items.Put()), S_FALSE);
    EXPECT_FALSE(items);
    EXPECT_EQ(MakeDsList()->Find(&kFirstId, found.Put()), S_FALSE);
    EXPECT_FALSE(found);
}

TEST_F(DsEventsData, ListsNameNullPointers)
{
    const auto list = MakeDsList();
    CComPtr<IWQ_DsItems> items;
    EXPECT_EQ(list->GetKeyCount(nullptr), E_POINTER);
    EXPECT_EQ(list->GetKey(0, nullptr), E_POINTER);
    EXPECT_EQ(list->GetItemsAt(0, nullptr), E_POINTER);
    EXPECT_EQ(list->Find(nullptr, items.Put()), E_POINTER);
    EXPECT_EQ(list->Find(&kFirstId, nullptr), E_POINTER);
    EXPECT_EQ(list->Put(nullptr, MakeDsItems().Get()), E_POINTER);
    EXPECT_EQ(list->Put(&kFirstId, nullptr), E_POINTER);
    EXPECT_EQ(list->AddItem(nullptr, 1), E_POINTER);
}

TEST_F(DsEventsData, ASetHasEachGuidOnce)
{
    const auto set = MakeDsGuidSet();
    EXPECT_EQ(set->Add(&kSecondId), S_OK);
    EXPECT_EQ(set->Add(&kFirstId), S_OK);
    EXPECT_EQ(set->Add(&kSecondId), S_FALSE);
    EXPECT_EQ(set->Contains(&kFirstId), S_OK);
    EXPECT_EQ(set->Contains(&kThirdId), S_FALSE);
    LONG count = 0;
    EXPECT_EQ(set->GetCount(&count), S_OK);
    EXPECT_EQ(count, 2);
    GUID value = {};
    EXPECT_EQ(set->GetAt(1, &value), S_OK);
    EXPECT_TRUE(value == kFirstId);
    EXPECT_EQ(set->GetAt(2, &value), S_FALSE);
    EXPECT_EQ(set->Add(nullptr), E_POINTER);
    EXPECT_EQ(set->Contains(nullptr), E_POINTER);
    EXPECT_EQ(set->GetAt(0, nullptr), E_POINTER);
}

TEST_F(DsEventsData, AnEventIsEmptyAtFirst)
{
    const auto event = Create<IWQ_DsEventsData>(kClsidDsEventsData);
    CComPtr<IWQ_DsList> list;
    CComPtr<IWQ_DsGuidSet> sources;
    LONG kind = 0;
    EXPECT_EQ(event->GetAddedItems(list.Put()), S_FALSE);
    EXPECT_EQ(event->GetChangedItems(list.Put()), S_FALSE);
    EXPECT_EQ(event->GetRemovedItems(list.Put()), S_FALSE);
    EXPECT_EQ(event->GetRenamedItems(list.Put()), S_FALSE);
    EXPECT_EQ(event->GetAffectedItems(list.Put()), S_FALSE);
    EXPECT_EQ(event->GetChangedColumns(list.Put()), S_FALSE);
    EXPECT_EQ(event->GetChangedSources(sources.Put()), S_FALSE);
    EXPECT_FALSE(list);
    EXPECT_FALSE(sources);
    EXPECT_EQ(event->GetKind(&kind), S_OK);
    EXPECT_EQ(kind, eDsEventKind_Unknown);
    EXPECT_EQ(event->GetAddedItems(nullptr), E_POINTER);
    EXPECT_EQ(event->GetKind(nullptr), E_POINTER);
}

TEST_F(DsEventsData, PartsAreHandedOutThemselvesAndCanBeTakenAway)
{
    const auto event = Create<IWQ_DsEventsData>(kClsidDsEventsData);
    const auto added = MakeDsList();
    const auto columns = MakeDsList();
    CComPtr<IWQ_DsList> list;
    EXPECT_EQ(event->PutAddedItems(added.Get()), S_OK);
    EXPECT_EQ(event->PutChangedColumns(columns.Get()), S_OK);
    EXPECT_EQ(event->GetAddedItems(list.Put()), S_OK);
    EXPECT_TRUE(list == added);
    EXPECT_EQ(event->GetChangedColumns(list.Put()), S_OK);
    EXPECT_TRUE(list == columns);
    EXPECT_EQ(event->GetChangedItems(list.Put()), S_FALSE);
    EXPECT_EQ(event->PutAddedItems(nullptr), S_OK);
    EXPECT_EQ(event->GetAddedItems(list.Put()), S_FALSE);
}
