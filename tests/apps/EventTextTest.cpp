#include "apps/zel/EventText.h"

#include "com/ComError.h"
#include "com/ComThread.h"
#include "platform/Text.h"

#include <gtest/gtest.h>

namespace {

constexpr GUID kEventSource = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 1}};
constexpr GUID kOtherEventSource = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 2}};

class EventTextTest : public testing::Test {
protected:
    [[nodiscard]] static CComPtr<IWQ_DsEventsData> MakeEvent()
    {
        CComPtr<IWQ_DsEventsData> event;
        ThrowIfFailed(CoCreateInstanceZEL(kClsidDsEventsData, nullptr, CLSCTX_INPROC_SERVER, ComIid<IWQ_DsEventsData>(),
                                          event.PutVoid()));
        return event;
    }
    [[nodiscard]] static CComPtr<IWQ_DsList> MakeList(std::initializer_list<LONG> items)
    {
        CComPtr<IWQ_DsList> list = MakeDsList();
        for (const LONG item : items)
            ThrowIfFailed(list->AddItem(&kEventSource, item));
        return list;
    }
    [[nodiscard]] static std::string Json(IWQ_DsEventsData& event) { return platform::ToUtf8(EventToJson(event)); }

    CComThread m_com;
};

TEST_F(EventTextTest, AnEmptyEventHasItsKindAlone)
{
    const CComPtr<IWQ_DsEventsData> event = MakeEvent();
    EXPECT_EQ(Json(*event), R"({"event":"items","kind":"unknown"})");
    EXPECT_EQ(EventToText(*event), L"items: unknown");
    ThrowIfFailed(event->PutAddedItems(MakeDsList().Get()));
    ThrowIfFailed(event->PutChangedSources(MakeDsGuidSet().Get()));
    EXPECT_EQ(Json(*event), R"({"event":"items","kind":"unknown"})") << "an empty part is no part";
}

TEST_F(EventTextTest, EveryPartHasItsName)
{
    const CComPtr<IWQ_DsEventsData> event = MakeEvent();
    ThrowIfFailed(event->PutKind(eDsEventKind_Sources));
    ThrowIfFailed(event->PutAddedItems(MakeList({1, -2}).Get()));
    ThrowIfFailed(event->PutChangedItems(MakeList({3}).Get()));
    ThrowIfFailed(event->PutChangedColumns(MakeList({4}).Get()));
    ThrowIfFailed(event->PutRemovedItems(MakeList({5}).Get()));
    ThrowIfFailed(event->PutRenamedItems(MakeList({6}).Get()));
    ThrowIfFailed(event->PutAffectedItems(MakeList({7}).Get()));
    const CComPtr<IWQ_DsGuidSet> sources = MakeDsGuidSet();
    ThrowIfFailed(sources->Add(&kOtherEventSource));
    ThrowIfFailed(event->PutChangedSources(sources.Get()));
    const std::string one = R"({"{00000000-0000-0000-0000-000000000001}":[)";
    EXPECT_EQ(Json(*event), R"({"event":"items","kind":"sources","added":)" + one + R"(1,-2]},"changed":)" + one +
                                R"(3]},"columns":)" + one + R"(4]},"removed":)" + one + R"(5]},"renamed":)" + one +
                                R"(6]},"affected":)" + one +
                                R"(7]},"sources":["{00000000-0000-0000-0000-000000000002}"]})");
    EXPECT_TRUE(EventToText(*event).starts_with(
        L"items: sources; added {00000000-0000-0000-0000-000000000001} 1 -2; changed {"));
    EXPECT_TRUE(EventToText(*event).ends_with(L"; sources {00000000-0000-0000-0000-000000000002}"));
}

TEST_F(EventTextTest, AnUnknownKindIsItsNumber)
{
    const CComPtr<IWQ_DsEventsData> event = MakeEvent();
    ThrowIfFailed(event->PutKind(77));
    EXPECT_EQ(Json(*event), R"({"event":"items","kind":77})");
    EXPECT_EQ(EventToText(*event), L"items: 77");
}

TEST_F(EventTextTest, GroupsAreIdsOrEverything)
{
    CComPtr<IWQ_CLSIDArray> groups;
    ThrowIfFailed(CreateWQ_CLSIDArray(ComIid<IWQ_CLSIDArray>(), groups.PutVoid()));
    EXPECT_EQ(GroupsToJson(groups.Get()), LR"({"event":"groups","groups":[]})");
    ThrowIfFailed(groups->Add(&kEventSource));
    EXPECT_EQ(GroupsToJson(groups.Get()), LR"({"event":"groups","groups":["{00000000-0000-0000-0000-000000000001}"]})");
    EXPECT_EQ(GroupsToText(groups.Get()), L"groups: {00000000-0000-0000-0000-000000000001}");
    EXPECT_EQ(GroupsToJson(nullptr), LR"({"event":"groups","groups":null})");
    EXPECT_EQ(GroupsToText(nullptr), L"groups: all");
}

} // namespace
