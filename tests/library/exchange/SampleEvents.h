#pragma once

#include "ZELAutomation/ZELAutomationEnvFile.h"
#include "com/Guid.h"
#include "tests/library/exchange/ExchangeFixture.h"

#include <initializer_list>
#include <sstream>
#include <string>

/// Events for tests, and their content as text.
namespace SampleEvents {

struct SEntry {
    GUID key;
    std::initializer_list<LONG> items;
};

inline CComPtr<IWQ_DsList> List(std::initializer_list<SEntry> entries)
{
    auto list = MakeDsList();
    for (const SEntry& entry : entries) {
        const auto items = MakeDsItems();
        for (const LONG item : entry.items)
            EXPECT_EQ(items->Add(item), S_OK);
        EXPECT_EQ(list->Put(&entry.key, items.Get()), S_OK);
    }
    return list;
}

inline CComPtr<IWQ_DsEventsData> Empty(LONG kind = eDsEventKind_Unknown)
{
    auto event = CreateInstanceZEL<IWQ_DsEventsData>(kClsidDsEventsData);
    EXPECT_EQ(event->PutKind(kind), S_OK);
    return event;
}

/// An event that has every part.
inline CComPtr<IWQ_DsEventsData> Full()
{
    auto event = Empty(eDsEventKind_Sources);
    const auto sources = MakeDsGuidSet();
    EXPECT_EQ(sources->Add(&kThirdId), S_OK);
    EXPECT_EQ(sources->Add(&kFirstId), S_OK);
    EXPECT_EQ(event->PutAddedItems(List({{kFirstId, {1, 2}}}).Get()), S_OK);
    EXPECT_EQ(event->PutChangedItems(List({{kSecondId, {3}}, {kFirstId, {4, 5}}}).Get()), S_OK);
    EXPECT_EQ(event->PutChangedColumns(List({{kFirstId, {0, 7}}}).Get()), S_OK);
    EXPECT_EQ(event->PutRemovedItems(List({{kSecondId, {}}}).Get()), S_OK);
    EXPECT_EQ(event->PutRenamedItems(List({}).Get()), S_OK);
    EXPECT_EQ(event->PutChangedSources(sources.Get()), S_OK);
    EXPECT_EQ(event->PutAffectedItems(List({{kThirdId, {-1}}}).Get()), S_OK);
    return event;
}

/// An event with one list only.
inline CComPtr<IWQ_DsEventsData> Small()
{
    auto event = Empty(eDsEventKind_Items);
    EXPECT_EQ(event->PutRemovedItems(List({{kFirstId, {9}}}).Get()), S_OK);
    return event;
}

inline void Describe(std::ostringstream& text, const char* name, const CComPtr<IWQ_DsList>& list)
{
    if (!list)
        return;
    text << name << ':';
    LONG keys = 0;
    EXPECT_EQ(list->GetKeyCount(&keys), S_OK);
    for (LONG i = 0; i < keys; ++i) {
        GUID key = {};
        CComPtr<IWQ_DsItems> items;
        LONG count = 0;
        EXPECT_EQ(list->GetKey(i, &key), S_OK);
        EXPECT_EQ(list->GetItemsAt(i, items.Put()), S_OK);
        EXPECT_EQ(items->GetCount(&count), S_OK);
        text << ' ' << std::hex << key.Data1 << std::dec << '(';
        for (LONG j = 0; j < count; ++j) {
            LONG item = 0;
            EXPECT_EQ(items->GetItem(j, &item), S_OK);
            text << (j > 0 ? "," : "") << item;
        }
        text << ')';
    }
    text << '\n';
}

/// Every part of an event, one line each; parts that it does not have are left out.
inline std::string Describe(const CComPtr<IWQ_DsEventsData>& event)
{
    std::ostringstream text;
    LONG kind = 0;
    EXPECT_EQ(event->GetKind(&kind), S_OK);
    text << "kind " << kind << '\n';
    CComPtr<IWQ_DsList> list;
    const auto part = [&](const char* name, HRESULT result) {
        EXPECT_EQ(result, list ? S_OK : S_FALSE);
        Describe(text, name, list);
    };
    part("added", event->GetAddedItems(list.Put()));
    part("changed", event->GetChangedItems(list.Put()));
    part("columns", event->GetChangedColumns(list.Put()));
    part("removed", event->GetRemovedItems(list.Put()));
    part("renamed", event->GetRenamedItems(list.Put()));
    CComPtr<IWQ_DsGuidSet> sources;
    static_cast<void>(event->GetChangedSources(sources.Put()));
    LONG count = 0;
    if (sources) {
        EXPECT_EQ(sources->GetCount(&count), S_OK);
        text << "sources:";
        for (LONG i = 0; i < count; ++i) {
            GUID source = {};
            EXPECT_EQ(sources->GetAt(i, &source), S_OK);
            text << ' ' << std::hex << source.Data1 << std::dec;
        }
        text << '\n';
    }
    part("affected", event->GetAffectedItems(list.Put()));
    return text.str();
}

} // namespace SampleEvents
