#include "ZEL_Processor/ZelProcessorClient.h"
#include "ZEL_Processor/ZelProcessorServer.h"
#include "ZEL_Processor/ZelRequestWatch.h"
#include "com/Components.h"
#include "com/ZelCom.h"
#include "framework/Services.h"
#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/library/RecordingProgress.h"
#include "tests/support/Predicates.h"
#include "tests/support/RecordingHost.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

/// What an interrupted task held is lost: that is what containment costs, so leaks are no news in this program.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off()
{
    return 1;
}

namespace {

/// A server in this process with the plug-in that crashes.
class CrashContainment : public testing::Test {
protected:
    static constexpr int kRounds = 100;

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
        m_pServer->SetSyncing(false);
        m_pServer->SetZelProcessorContext(&m_context);
        ASSERT_TRUE(m_pServer->SetDirs(m_requestDir, m_outputDir));
        ASSERT_TRUE(m_pServer->Run());
        m_pWatch = std::make_unique<CZelRequestWatch>(m_client, m_outputDir);
    }

    eZelProcRequestStatus Serve(const std::wstring& name, const std::string& task)
    {
        const std::wstring path = platform::JoinPath(m_clientDir, name);
        EXPECT_TRUE(platform::Succeeded(platform::WriteWholeFile(path, "<Request>" + task + "</Request>")));
        EXPECT_EQ(m_client.SendRequest(path), eRequestStatus_Sent);
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
        ASSERT_EQ(Serve(L"next.drq", "<Task Type=\"Echo\"><Text>alive</Text></Task>"), eRequestStatus_Done);
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
        m_host.AcceptWarnings(); // a request file that the crashed task kept open stays where the system keeps open files
    }

    CRecordingHost m_host;
    testsupport::CTemporaryDirectory m_dir;
    std::wstring m_requestDir = m_dir / L"requests";
    std::wstring m_outputDir = m_dir / L"output";
    std::wstring m_clientDir = m_dir / L"client";
    CTestContext m_context;
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

TEST_F(CrashContainment, ACrashReportNamesTheRequestAndTheFault)
{
    m_host.WriteCrashReports();
    const std::wstring before = platform::Environment(L"ZEL_CRASH_DIR");
    platform::SetEnvironment(L"ZEL_CRASH_DIR", m_dir.Path());
    CrashAndServe("NullDereference", "ObtainData", 1);
    m_pServer->Stop(true);
    platform::SetEnvironment(L"ZEL_CRASH_DIR", before);
    static_cast<void>(m_host.TakeBoxes());
    m_host.AcceptWarnings();
    std::string report;
    ASSERT_TRUE(platform::Succeeded(platform::ReadWholeFile(MOXCrashRpt::LastReportPath(),
                                                            platform::eOpenMode_ReadShared, report, std::size_t{1} << 20)));
    EXPECT_NE(report.find("crash1.drq"), std::string::npos) << report;
    EXPECT_NE(report.find("zel_testtasks"), std::string::npos) << "the module of the faulting frame";
}
