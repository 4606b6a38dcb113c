#include "ZEL_Processor/IWQ_Palette.h"
#include "ZEL_Processor/ZelProcessorClient.h"
#include "ZEL_Processor/ZelProcessorServer.h"
#include "ZEL_Processor/ZelRequestWatch.h"
#include "com/ComObject.h"
#include "com/Components.h"
#include "com/CreateInstance.h"
#include "com/ZelCom.h"
#include "framework/Services.h"
#include "platform/Fault.h"
#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/Thread.h"
#include "platform/Version.h"
#include "tests/library/RecordingProgress.h"
#include "tests/support/Predicates.h"
#include "tests/support/RecordingHost.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/WaitUntil.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <utility>

/// What an interrupted task held is lost: that is what containment costs, so leaks are no news in this program.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off()
{
    return 1;
}

namespace {

int* volatile g_pNull = nullptr; ///< volatile, or the optimiser might see the fault coming

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

/// A host that crashes when it is told of the first request that is done, after it did something.
class CCrashingEvent final : public CZelProcessorEvent {
public:
    void OnRequestDone() override
    {
        if (std::exchange(m_crashes, false)) {
            m_before();
            *g_pNull = 1;
        }
        m_told.Set();
    }

    std::function<void()> m_before = [] {};
    bool m_crashes = true;
    platform::CManualResetEvent m_told; ///< of one that did not crash
};

/// A server in this process with the plug-in that crashes.
class CrashContainment : public testing::Test {
protected:
    static constexpr int kRounds = 100;
    static constexpr const char* kEcho = "<Task Type=\"Echo\"><Text>alive</Text></Task>";

    static void SetUpTestSuite()
    {
        const std::wstring folder = platform::JoinPath(platform::DirectoryOf(platform::ProgramPath()), L"test-plugins");
        std::vector<std::wstring> errors;
        AddComponentFolder(folder, errors);
        ASSERT_TRUE(errors.empty()) << platform::ToUtf8(errors.front());
    }

    CrashContainment()
    {
        CoInitializeSYS(nullptr);
        CoInitializeZEL(nullptr);
    }
    ~CrashContainment() override
    {
        m_pServer.reset();
        CoUninitializeZEL();
        CoUninitializeSYS();
    }

    void SetUp() override
    {
        for (const std::wstring& dir : {m_requestDir, m_outputDir, m_clientDir})
            ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(dir)));
        m_client.Init(m_requestDir, m_outputDir, m_clientDir);
        m_client.SetSyncing(false);
        m_pServer = std::make_unique<CZelProcessorServer>();
        m_pServer->SetOptions({.syncing = false});
        m_pServer->SetZelProcessorContext(&m_context);
        ASSERT_TRUE(m_pServer->SetDirs(m_requestDir, m_outputDir));
        ASSERT_TRUE(m_pServer->Run());
        m_pWatch = std::make_unique<CZelRequestWatch>(m_client, m_outputDir);
    }

    /// The server again, with a host that is told.
    void RunWithEvent()
    {
        m_pServer->Stop(true);
        m_pServer->SetZelProcessorEvent(&m_event);
        ASSERT_TRUE(m_pServer->Run());
    }
    void Send(const std::wstring& name, const std::string& task)
    {
        const std::wstring path = platform::JoinPath(m_clientDir, name);
        EXPECT_TRUE(platform::Succeeded(platform::WriteWholeFile(path, "<Request>" + task + "</Request>")));
        EXPECT_EQ(m_client.SendRequest(path), eRequestStatus_Sent);
    }
    eZelProcRequestStatus Serve(const std::wstring& name, const std::string& task)
    {
        Send(name, task);
        return m_pWatch->WaitForEnd(name, std::chrono::seconds(60), &m_additional);
    }
    /// A crash of this kind ends its request; the next one, of the same server, is served.
    void CrashAndServe(const std::string& kind, const std::string& where, int round)
    {
        const std::wstring name = L"crash" + std::to_wstring(round) + L".drq";
        const std::string task = "<Task Type=\"Crash\"><Kind>" + kind + "</Kind><Where>" + where + "</Where></Task>";
        ASSERT_EQ(Serve(name, task), eRequestStatus_ServerError) << kind << " in " << where << ", round " << round;
        EXPECT_EQ(m_additional.GetProgressComment(),
                  RootApp_RSC_CStr(101, "IDS_EXCEPTIONTHROW_DURING_PROCESSINGREQUEST"));
        ASSERT_EQ(Serve(L"next.drq", kEcho), eRequestStatus_Done);
        const std::wstring target = platform::JoinPath(m_clientDir, L"next.xml");
        ASSERT_TRUE(m_client.ReceiveOutput(L"next.drq", target));
        std::string response;
        ASSERT_TRUE(platform::Succeeded(
            platform::ReadWholeFile(target, platform::eOpenMode_ReadShared, response, std::size_t{1} << 16)));
        EXPECT_NE(response.find("<Response>alive</Response>"), std::string::npos);
    }
    void CrashManyTimes(const std::string& kind, platform::eFaultKind expected)
    {
        for (int round = 0; round < kRounds && !HasFatalFailure(); ++round)
            CrashAndServe(kind, "ObtainData", round);
        m_pServer->Stop(true);
        const auto crashes = m_host.TakeCrashReports();
        EXPECT_EQ(crashes.size(), static_cast<std::size_t>(kRounds));
        for (const platform::SFaultRecord& crash : crashes)
            EXPECT_EQ(crash.kind, expected) << platform::ToUtf8(platform::FaultKindName(crash.kind));
        EXPECT_EQ(m_host.TakeBoxes().size(), static_cast<std::size_t>(kRounds)) << "one question a crash";
        m_host
            .AcceptWarnings(); // a request file that the crashed task kept open stays where the system keeps open files
    }

    /// The report of a crash while data is obtained.
    std::string ReportOf(const std::string& kind)
    {
        m_host.WriteCrashReports();
        const std::wstring before = platform::Environment(L"ZEL_CRASH_DIR");
        m_pServer->Stop(true); // while its threads run nobody may change what they read
        platform::SetEnvironment(L"ZEL_CRASH_DIR", m_dir.Path());
        EXPECT_TRUE(m_pServer->Run());
        CrashAndServe(kind, "ObtainData", 1);
        m_pServer->Stop(true);
        platform::SetEnvironment(L"ZEL_CRASH_DIR", before);
        static_cast<void>(m_host.TakeBoxes());
        m_host.AcceptWarnings();
        std::string report;
        EXPECT_TRUE(platform::Succeeded(platform::ReadWholeFile(
            MOXCrashRpt::LastReportPath(), platform::eOpenMode_ReadShared, report, std::size_t{1} << 20)));
        return report;
    }
    /// What stands behind a name at the beginning of a line; empty without such a line.
    static std::string Value(const std::string& report, const std::string& name)
    {
        const std::size_t start = report.find("\n" + name + ":");
        if (start == std::string::npos)
            return {};
        const std::size_t value = report.find_first_not_of(' ', start + name.size() + 2);
        return report.substr(value, report.find('\n', value) - value);
    }

    CRecordingHost m_host;
    testsupport::CTemporaryDirectory m_dir;
    std::wstring m_requestDir = m_dir / L"requests";
    std::wstring m_outputDir = m_dir / L"output";
    std::wstring m_clientDir = m_dir / L"client";
    CTestContext m_context;
    CCrashingEvent m_event;
    CZelProcessorClient m_client;
    CZelProcessorClient::CAdditionalRequestStatus m_additional;
    std::unique_ptr<CZelRequestWatch> m_pWatch;
    std::unique_ptr<CZelProcessorServer> m_pServer;
};

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

TEST_F(CrashContainment, ANewerRequestOfTheNameOutlivesACrashOfTheHost)
{
    m_event.m_before = [this] {
        // As soon as it is told the name is free: the client takes its response and sends the next one.
        EXPECT_TRUE(m_client.ReceiveOutput(L"a.drq", platform::JoinPath(m_clientDir, L"first.xml")));
        Send(L"a.drq", kEcho);
        EXPECT_TRUE(testsupport::WaitUntil([this] {
            return platform::PathExists(platform::JoinPath(platform::JoinPath(m_outputDir, L"Queue"), L"a.drq"));
        }));
    };
    RunWithEvent();
    Send(L"a.drq", kEcho);
    ASSERT_TRUE(m_event.m_told.WaitFor(std::chrono::seconds(60))) << "of the newer one";
    EXPECT_EQ(m_client.GetStatus(L"a.drq", nullptr), eRequestStatus_Done);
    EXPECT_TRUE(m_client.ReceiveOutput(L"a.drq", platform::JoinPath(m_clientDir, L"second.xml")));
    m_pServer->Stop(true);
    EXPECT_EQ(m_host.TakeCrashReports().size(), 1U);
    EXPECT_EQ(m_host.TakeBoxes().size(), 1U) << "the question before the report";
}

TEST_F(CrashContainment, ACrashReportHasWhatADeveloperNeeds)
{
    const std::string report = ReportOf("NullDereference");
    EXPECT_EQ(Value(report, "Request"), "crash1.drq") << report;
    EXPECT_TRUE(Value(report, "Subject").ends_with("crash1.drq")) << report;
    EXPECT_EQ(Value(report, "Last status"), "eRequestStatus_GettingData (9)") << report;
    // The plug-in told where, by its own count of lines, before it crashed.
    const std::string comment = Value(report, "Comment");
    const std::string announcement = "about to crash in ";
    ASSERT_TRUE(comment.starts_with(announcement + "Crash.cpp:")) << report;
    const std::string place = comment.substr(announcement.size());
    EXPECT_TRUE(Value(report, "Source").ends_with(place)) << report;
    EXPECT_NE(Value(report, "Function").find("CrashNullDereference()"), std::string::npos) << report;
    EXPECT_NE(Value(report, "Module").find("zel_testtasks"), std::string::npos) << report;
    EXPECT_EQ(Value(report, "Built for"), std::to_string(ZEL_VERSION_MAJOR) + "." + std::to_string(ZEL_VERSION_MINOR))
        << report;
    EXPECT_EQ(Value(report, "Kind"), "access violation") << report;
    EXPECT_NE(Value(report, "Thread").find(" ZelProcessorServer::"), std::string::npos) << report;
    EXPECT_TRUE(Value(report, "Version").starts_with(ZEL_VERSION " (")) << report;
    EXPECT_EQ(Value(report, "System"), platform::ToUtf8(platform::SystemVersion())) << report;
}

TEST_F(CrashContainment, TheSourceIsTheInnermostThatIsKnown)
{
    if (testsupport::IsThreadSanitized())
        GTEST_SKIP() << "IsThreadSanitized: its own abort stands between, with a source of its own";
    // The fault itself is in the system's library.
    const std::string report = ReportOf("Abort");
    EXPECT_EQ(Value(report, "Kind"), "abort") << report;
    EXPECT_NE(Value(report, "Source").find("Crash.cpp:"), std::string::npos) << report;
    EXPECT_NE(Value(report, "Function").find("CrashAbort()"), std::string::npos) << report;
}

TEST_F(CrashContainment, TheReportOfAnExceptionHasItsTypeAndText)
{
    const std::string report = ReportOf("Exception");
    EXPECT_EQ(Value(report, "Kind"), "exception") << report;
    EXPECT_EQ(Value(report, "Exception"), "std::runtime_error: crash task") << report;
}

TEST_F(CrashContainment, TheReportOfAForeignExceptionHasItsType)
{
    EXPECT_EQ(Value(ReportOf("ForeignException"), "Exception"), "int");
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
