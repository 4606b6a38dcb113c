#include "tests/crash/CrashFixture.h"

#include "ZEL_Processor/IWQ_Palette.h"
#include "com/ComObject.h"
#include "com/CreateInstance.h"

#include <map>

/// What an interrupted task held is lost: that is what containment costs, so leaks are no news in this program.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off()
{
    return 1;
}

namespace {

/// A palette that crashes, or knows of no groups.
class CCrashingPalette final : public CComObject<IWQ_Palette> {
public:
    HRESULT STDMETHODCALLTYPE GetChangedGroups(IWQ_DsEventsData*, IWQ_Project*, VARIANT_BOOL* groupsChanged,
                                               IWQ_CLSIDArray** groups, VARIANT_BOOL* projectNeedsUpdate) override
    {
        if (m_crashes)
            *g_pNull = 1;
        *groupsChanged = VARIANT_FALSE;
        *groups = nullptr;
        *projectNeedsUpdate = VARIANT_FALSE;
        return S_OK;
    }

    bool m_crashes = false;
};

/// Items of an event that crash when they are counted.
class CCrashingItems final : public CComObject<IWQ_DsItems> {
public:
    HRESULT STDMETHODCALLTYPE GetCount(LONG* count) override
    {
        *count = *g_pNull;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetItem(LONG, LONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Add(LONG) override { return E_NOTIMPL; }
};

using CrashContainment = CCrashFixture;

} // namespace

TEST_F(CrashContainment, AHundredNullDereferences)
{
    CrashManyTimes("NullDereference", platform::eFaultKind_AccessViolation);
}

TEST_F(CrashContainment, AHundredStackOverflows)
{
    if (testsupport::IsThreadSanitized())
        GTEST_SKIP() << "IsThreadSanitized: its own stack of calls overflows first, in code that can't be left";
    CrashManyTimes("StackOverflow", platform::eFaultKind_StackOverflow);
}

TEST_F(CrashContainment, AHundredDivisions)
{
    CrashManyTimes("Division", platform::eFaultKind_Division);
}

TEST_F(CrashContainment, AHundredAborts)
{
    CrashManyTimes("Abort", platform::eFaultKind_Abort);
}

TEST_F(CrashContainment, AHundredIllegalInstructions)
{
    CrashManyTimes("IllegalInstruction", platform::eFaultKind_IllegalInstruction);
}

TEST_F(CrashContainment, AHundredExceptions)
{
    CrashManyTimes("Exception", platform::eFaultKind_Exception);
}

TEST_F(CrashContainment, AHundredForeignExceptions)
{
    CrashManyTimes("ForeignException", platform::eFaultKind_Exception);
}

TEST_F(CrashContainment, EveryStepOfAPluginIsContained)
{
    int round = 0;
    for (const char* where :
         {"CreateRequest", "GetXml", "Init", "CanProcess", "ObtainData", "CreateResponse", "SetTask", "Save"}) {
        for (const char* kind : {"NullDereference", "Exception"})
            CrashAndServe(kind, where, round++);
    }
    m_pServer->Stop(true);
    static_cast<void>(m_host.TakeBoxes());
    m_host.AcceptWarnings();
}

TEST_F(CrashContainment, ARequestStaysDoneWhenTheHostCrashesAtIt)
{
    RunWithEvent();
    EXPECT_EQ(Serve(L"a.drq", kEcho), eRequestStatus_Done);
    EXPECT_EQ(Serve(L"b.drq", kEcho), eRequestStatus_Done); // by then the crash is dealt with
    ASSERT_TRUE(m_event.m_told.WaitFor(std::chrono::seconds(60)));
    EXPECT_EQ(m_client.GetStatus(L"a.drq", nullptr), eRequestStatus_Done);
    m_pServer->Stop(true);
    EXPECT_EQ(m_host.TakeCrashReports().size(), 1U);
    EXPECT_EQ(m_host.TakeBoxes().size(), 1U) << "the question before the report";
}

TEST_F(CrashContainment, WhatAnIsolatedTaskStillSaysAfterACrashOfTheHostIsNotOfTheNextRequest)
{
    m_pServer->Stop(true);
    SZelServerOptions options{.syncing = false};
    options.isolation.isOn = true;
    m_pServer->SetOptions(options);
    RunWithEvent();
    EXPECT_EQ(Serve(L"a.drq", kEcho), eRequestStatus_Done);
    EXPECT_EQ(Serve(L"b.drq", "<Task Type=\"Echo\"><Text>second</Text></Task>"), eRequestStatus_Done)
        << platform::ToUtf8(m_additional.GetProgressComment());
    EXPECT_TRUE(m_client.ReceiveOutput(L"b.drq", In(m_clientDir, L"b.xml")));
    ASSERT_TRUE(m_event.m_told.WaitFor(std::chrono::seconds(60)));
    m_pServer->Stop(true);
    EXPECT_EQ(m_host.TakeCrashReports().size(), 1U);
    EXPECT_EQ(m_host.TakeBoxes().size(), 1U) << "the question before the report";
    m_host.AcceptWarnings();
}

TEST_F(CrashContainment, ANewerRequestOfTheNameOutlivesACrashOfTheHost)
{
    m_event.m_before = [this] {
        // As soon as it is told the name is free: the client takes its response and sends the next one.
        EXPECT_TRUE(m_client.ReceiveOutput(L"a.drq", In(m_clientDir, L"first.xml")));
        Send(L"a.drq", kEcho);
        EXPECT_TRUE(testsupport::WaitUntil([this] { return platform::PathExists(Queued(L"a.drq")); }));
    };
    RunWithEvent();
    Send(L"a.drq", kEcho);
    ASSERT_TRUE(m_event.m_told.WaitFor(std::chrono::seconds(60))) << "of the newer one";
    EXPECT_EQ(m_client.GetStatus(L"a.drq", nullptr), eRequestStatus_Done);
    EXPECT_TRUE(m_client.ReceiveOutput(L"a.drq", In(m_clientDir, L"second.xml")));
    m_pServer->Stop(true);
    EXPECT_EQ(m_host.TakeCrashReports().size(), 1U);
    EXPECT_EQ(m_host.TakeBoxes().size(), 1U) << "the question before the report";
}

TEST_F(CrashContainment, EveryLineOfTheLogNamesTheRequestItBelongsTo)
{
    CrashAndServe("Exception", "ObtainData", 1);
    m_pServer->Stop(true);
    static_cast<void>(m_host.TakeBoxes());
    m_host.AcceptWarnings();
    std::map<std::wstring, std::size_t> lines;
    for (const testsupport::SLogLine& line : m_host.TakeLogLines())
        ++lines[line.request];
    EXPECT_GT(lines[L"crash1.drq"], 1U);
    EXPECT_GT(lines[L"next.drq"], 2U);
    EXPECT_EQ(lines[L""], 2U) << "the listener's start and end";
    EXPECT_EQ(lines.size(), 3U);
}

TEST_F(CrashContainment, ACrashOfAnEventOrAPaletteLeavesNotificationsFree)
{
    const auto palette = MakeComObject<CCrashingPalette>();
    m_pServer->SetPalette(palette.Get());
    ASSERT_TRUE(m_client.ListenDsEvents());
    const auto event = CreateInstanceZEL<IWQ_DsEventsData>(kClsidDsEventsData);
    const auto list = MakeDsList();
    const GUID key = {};
    ASSERT_EQ(list->Put(&key, MakeComObject<CCrashingItems>().Get()), S_OK);
    ASSERT_EQ(event->PutAddedItems(list.Get()), S_OK);
    // As a task on the executive thread would.
    for (const bool paletteCrashes : {false, true}) {
        palette->m_crashes = paletteCrashes;
        platform::SFaultRecord fault;
        EXPECT_FALSE(platform::RunContained([&] { m_pServer->OnChangedDs(event.Get()); }, fault));
        EXPECT_EQ(fault.kind, platform::eFaultKind_AccessViolation);
    }
    palette->m_crashes = false;
    ASSERT_EQ(event->PutAddedItems(nullptr), S_OK);
    m_pServer->OnChangedDs(event.Get());
    std::vector<CComPtr<IWQ_DsEventsData>> events;
    EXPECT_TRUE(m_client.GetDsEvents(events));
    EXPECT_EQ(events.size(), 1U);
    EXPECT_TRUE(m_client.StopListeningDsEvents());
}
