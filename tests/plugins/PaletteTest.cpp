#include "plugins/datastore/SourceId.h"
#include "tests/plugins/PluginHarness.h"
#include "tests/support/RecordingHost.h"

#include "com/CreateInstance.h"

#include <ZEL_Processor/IWQ_DsEventSource.h>
#include <ZEL_Processor/IWQ_Palette.h>

#include <gtest/gtest.h>

using namespace plugintest;

namespace {

class Palette : public testing::Test {
protected:
    /// The groups that an event changes; the flags must fit them.
    [[nodiscard]] std::vector<GUID> GroupsOf(IWQ_DsEventsData* event)
    {
        VARIANT_BOOL changed = VARIANT_TRUE;
        VARIANT_BOOL needsUpdate = VARIANT_TRUE;
        CComPtr<IWQ_CLSIDArray> groups;
        EXPECT_EQ(m_palette->GetChangedGroups(event, nullptr, &changed, groups.Put(), &needsUpdate), S_OK);
        EXPECT_EQ(changed != VARIANT_FALSE, static_cast<bool>(groups));
        EXPECT_EQ(needsUpdate, changed);
        std::vector<GUID> ids;
        ULONGLONG count = 0;
        if (groups) {
            EXPECT_EQ(groups->GetCount(&count), S_OK);
        }
        for (ULONGLONG index = 0; index < count; ++index)
            EXPECT_EQ(groups->GetAt(index, &ids.emplace_back()), S_OK);
        return ids;
    }
    [[nodiscard]] static CComPtr<IWQ_DsEventsData> Event(eDsEventKind kind, const std::vector<GUID>& tables)
    {
        auto event = CreateInstanceZEL<IWQ_DsEventsData>(kClsidDsEventsData);
        const auto set = MakeDsGuidSet();
        for (const GUID& table : tables)
            EXPECT_EQ(set->Add(&table), S_OK);
        EXPECT_EQ(event->PutKind(kind), S_OK);
        EXPECT_EQ(event->PutChangedSources(set.Get()), S_OK);
        return event;
    }

    CRecordingHost m_host;
    CComponents m_components;
    CComPtr<IWQ_Palette> m_palette = m_components.MakeFactory(kDataStoreId).QueryTo<IWQ_Palette>();
};

} // namespace

TEST_F(Palette, TablesThatCameOrWentAreItsGroups)
{
    const std::vector<GUID> tables = {TableId("box", "birds"), TableId("box", "fish")};
    EXPECT_EQ(GroupsOf(Event(eDsEventKind_Sources, tables).Get()), tables);
}

TEST_F(Palette, OtherEventsChangeNoGroup)
{
    const std::vector<GUID> tables = {TableId("box", "birds")};
    EXPECT_TRUE(GroupsOf(nullptr).empty());
    EXPECT_TRUE(GroupsOf(Event(eDsEventKind_Reload, tables).Get()).empty());
    EXPECT_TRUE(GroupsOf(Event(eDsEventKind_Items, tables).Get()).empty());
    EXPECT_TRUE(GroupsOf(Event(eDsEventKind_Sources, {}).Get()).empty());
    EXPECT_TRUE(GroupsOf(CreateInstanceZEL<IWQ_DsEventsData>(kClsidDsEventsData).Get()).empty());
}

TEST_F(Palette, NullPointersAreRefused)
{
    VARIANT_BOOL flag = VARIANT_FALSE;
    CComPtr<IWQ_CLSIDArray> groups;
    EXPECT_EQ(m_palette->GetChangedGroups(nullptr, nullptr, nullptr, groups.Put(), &flag), E_POINTER);
    EXPECT_EQ(m_palette->GetChangedGroups(nullptr, nullptr, &flag, nullptr, &flag), E_POINTER);
    EXPECT_EQ(m_palette->GetChangedGroups(nullptr, nullptr, &flag, groups.Put(), nullptr), E_POINTER);
}

TEST_F(Palette, IsOneObjectWithTheFactory)
{
    const auto identity = m_palette.QueryTo<IUnknown>();
    EXPECT_EQ(m_palette.QueryTo<IWQ_ZELProcessorFactory>().QueryTo<IUnknown>(), identity);
    EXPECT_EQ(m_palette.QueryTo<IWQ_DsEventSource>().QueryTo<IUnknown>(), identity);
    EXPECT_EQ(m_palette.QueryTo<IWQ_DsEventSource>().QueryTo<IWQ_Palette>(), m_palette);
}
