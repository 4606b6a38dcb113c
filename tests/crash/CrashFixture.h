#pragma once

#include "ZEL_Processor/ZelProcessorClient.h"
#include "ZEL_Processor/ZelProcessorServer.h"
#include "ZEL_Processor/ZelRequestWatch.h"
#include "com/Components.h"
#include "com/ZelCom.h"
#include "framework/Services.h"
#include "platform/Fault.h"
#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "platform/Thread.h"
#include "tests/support/Directories.h"
#include "tests/support/Predicates.h"
#include "tests/support/RecordingHost.h"
#include "tests/support/RequestDoubles.h"
#include "tests/support/WaitUntil.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

inline int* volatile g_pNull = nullptr; ///< volatile, or the optimiser might see the fault coming

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
class CCrashFixture : public testing::Test, public CDirectories {
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

    CCrashFixture()
    {
        CoInitializeSYS(nullptr);
        CoInitializeZEL(nullptr);
    }
    ~CCrashFixture() override
    {
        m_pServer.reset();
        CoUninitializeZEL();
        CoUninitializeSYS();
    }

    void SetUp() override
    {
        MakeDirectories();
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
        const std::wstring path = In(m_clientDir, name);
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
        const std::wstring target = In(m_clientDir, L"next.xml");
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
        std::vector<std::wstring> reports = FilesIn(m_dir.Path());
        std::erase_if(reports, [](const std::wstring& name) { return !name.starts_with(L"zel-crash-"); });
        std::ranges::sort(reports); // by time
        EXPECT_TRUE(
            platform::Succeeded(platform::ReadWholeFile(In(m_dir.Path(), reports.empty() ? L"none" : reports.back()),
                                                        platform::eOpenMode_ReadShared, report, std::size_t{1} << 20)));
        return report;
    }

    CRecordingHost m_host;
    CTestContext m_context;
    CCrashingEvent m_event;
    CZelProcessorClient m_client;
    CZelProcessorClient::CAdditionalRequestStatus m_additional;
    std::unique_ptr<CZelRequestWatch> m_pWatch;
    std::unique_ptr<CZelProcessorServer> m_pServer;
};
