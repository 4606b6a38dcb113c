#include "tests/support/ServerKit.h"

#include "framework/Exceptions.h"
#include "processor/ZelProcessorFactories.h"
#include "tests/support/Links.h"

namespace {

using Server = CServerFixture;

} // namespace

TEST_F(Server, SetDirsNeedsBothDirectories)
{
    CZelProcessorServer server;
    EXPECT_FALSE(server.SetDirs(m_dir / L"missing", m_outputDir));
    EXPECT_EQ(server.GetFileInRequestDirFullPath(L"x.drq"), In(L"invalid", L"x.drq"));
    EXPECT_FALSE(server.SetDirs(m_requestDir, m_dir / L"missing"));
    EXPECT_EQ(server.GetFileInRequestDirFullPath(L"x.drq"), In(m_requestDir, L"x.drq"))
        << "the request directory stays stored";
    EXPECT_EQ(server.GetFileInQueueFullPath(L"x.drq"), In(L"invalid", L"x.drq"));
}

TEST_F(Server, OneSeparatorAtTheEndIsRemoved)
{
    const std::wstring separator(1, platform::kPathSeparator);
    CZelProcessorServer server;
    EXPECT_TRUE(server.SetDirs(m_requestDir + separator, m_outputDir + separator));
    EXPECT_EQ(server.GetFileInRequestDirFullPath(L"x.drq"), In(m_requestDir, L"x.drq"));
    EXPECT_EQ(server.GetFileInQueueFullPath(L"x.drq"), Queued(L"x.drq"));
    EXPECT_TRUE(server.SetDirs(m_requestDir + separator + separator, m_outputDir));
    EXPECT_EQ(server.GetFileInRequestDirFullPath(L"x.drq"), In(m_requestDir + separator, L"x.drq"));
}

TEST_F(Server, SetDirsRefusesAQueueThatIsALink)
{
    const std::wstring elsewhere = m_dir / L"elsewhere";
    ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(elsewhere)));
    Write(In(elsewhere, L"kept.drq"));
    m_pServer.reset();
    ASSERT_TRUE(platform::Succeeded(platform::Files().RemoveEmptyDirectory(In(m_outputDir, L"Queue"))));
    if (!testsupport::MakeLink(elsewhere, In(m_outputDir, L"Queue")))
        GTEST_SKIP() << "MakeLink: this system gives no links";
    Write(In(m_outputDir, L"old.drq"));
    CZelProcessorServer server;
    EXPECT_FALSE(server.SetDirs(m_requestDir, m_outputDir));
    EXPECT_EQ(m_host.TakeBoxes().size(), 1U);
    EXPECT_TRUE(platform::PathExists(In(elsewhere, L"kept.drq")));
    EXPECT_TRUE(platform::PathExists(In(m_outputDir, L"old.drq")));
}

TEST_F(Server, SetDirsClearsOutputAndQueueAndKeepsRequests)
{
    const std::wstring deep = In(In(m_outputDir, L"sub"), L"deep");
    ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(In(m_outputDir, L"sub"))));
    for (const std::wstring& path : {In(m_outputDir, L"old.drq"), In(m_outputDir, L"old.drq.status"), Queued(L"q.drq"),
                                     deep, In(m_requestDir, L"new.drq")})
        Write(path);
    EXPECT_TRUE(m_pServer->SetDirs(m_requestDir, m_outputDir));
    EXPECT_TRUE(FilesIn(m_outputDir).empty());
    EXPECT_TRUE(FilesIn(In(m_outputDir, L"Queue")).empty());
    EXPECT_TRUE(platform::PathExists(deep));
    EXPECT_TRUE(platform::PathExists(In(m_requestDir, L"new.drq")));
}

TEST_F(Server, SetDirsEmptiesTheWaitingQueue)
{
    Write(In(m_requestDir, L"a.drq"));
    m_pServer->SetNoExecutiveThread(true);
    Run();
    ASSERT_TRUE(Access().AddRequestToQueue(In(m_requestDir, L"a.drq")) || Access().IsRequestInQueue(L"a.drq"));
    m_pServer->Stop(true);
    EXPECT_TRUE(m_pServer->SetDirs(m_requestDir, m_outputDir));
    EXPECT_FALSE(Access().IsRequestInQueue(L"a.drq"));
}

TEST_F(Server, AQueueDirectoryThatCanNotBeMadeIsShown)
{
    ASSERT_TRUE(platform::Succeeded(platform::Files().RemoveEmptyDirectory(In(m_outputDir, L"Queue"))));
    testsupport::CFaultyFiles& files = m_files;
    files.FailCall(testsupport::eFileCall_MakeDirectory, 1, platform::eOsError_AccessDenied);
    const platform::CScopedOs os(&files, nullptr);
    EXPECT_FALSE(m_pServer->SetDirs(m_requestDir, m_outputDir));
    m_host.ExpectBox(L"CZelProcessorServer::SetDirs - creating Queue directory failed");
}

TEST_F(Server, PathsTakeTheFinalComponent)
{
    EXPECT_EQ(m_pServer->GetFileInQueueFullPath(L"x.drq"), Queued(L"x.drq"));
    EXPECT_EQ(m_pServer->GetFileInQueueFullPath(In(m_requestDir, L"x.drq")), Queued(L"x.drq"));
    EXPECT_EQ(m_pServer->GetFileInRequestDirFullPath(Queued(L"x.drq")), In(m_requestDir, L"x.drq"));
}

TEST_F(Server, PerClientPathsNameTheClientAndAreEmptyForNoClient)
{
    const GUID client = {0x6B29FC40, 0xCA47, 0x1067, {0xB3, 0x1D, 0x00, 0xDD, 0x01, 0x06, 0x62, 0xDA}};
    const std::wstring id = L"{6B29FC40-CA47-1067-B31D-00DD010662DA}";
    EXPECT_EQ(m_pServer->GetDsEventsFileFullPath(client), In(m_outputDir, L"DsEvents_" + id));
    EXPECT_EQ(m_pServer->GetInsertableItemsChangeFile(client), In(m_outputDir, L"InsertableItemsGroup_" + id));
    EXPECT_EQ(m_pServer->GetLockResultsChangeFile(client), In(m_outputDir, L"LockResultsChange_" + id));
    EXPECT_EQ(m_pServer->GetDsEventsFileFullPath(GUID{}), L"");
    EXPECT_EQ(m_pServer->GetInsertableItemsChangeFile(GUID{}), L"");
    EXPECT_EQ(m_pServer->GetLockResultsChangeFile(GUID{}), L"");
}

TEST_F(Server, ContextAndEventAreKept)
{
    struct SEvent final : CZelProcessorEvent {
        void OnRequestDone() override {}
    } event;
    m_pServer->SetZelProcessorEvent(&event);
    EXPECT_EQ(m_pServer->GetZelProcessorEvent(), &event);
    EXPECT_EQ(m_pServer->GetZelProcessorContext(), &m_context);
}

TEST_F(Server, CanNotBeMadeWithoutAFactory)
{
    CZelProcessorFactories::ForgetCategory();
    CScriptedPlugin::SetInstalled(false);
    EXPECT_THROW(CZelProcessorServer(), CUserException);
    CScriptedPlugin::SetInstalled(true);
    m_host.ExpectBox(L"Unable to create Zel Processor Factory");
    for (int classes = 0; classes < 2; ++classes)
        m_host.ExpectLogLine(L"A plug-in was left out: class {1F3A6C10-");
}

TEST_F(Server, RunsAndStopsAndRunsAgain)
{
    for (int round = 0; round < 3; ++round) {
        Run();
        EXPECT_TRUE(Access().IsRunning());
        EXPECT_EQ(SendAndWait(L"a.drq"), eRequestStatus_Done);
        m_pServer->Stop(true);
        EXPECT_FALSE(Access().HasThreads());
        EXPECT_TRUE(m_pServer->SetDirs(m_requestDir, m_outputDir));
    }
}

TEST_F(Server, StoppingTwiceOrBeforeRunDoesNothing)
{
    struct SEvent final : CZelProcessorEvent {
        void OnRequestDone() override { ++m_done; }
        std::atomic<int> m_done = 0;
    } event;
    m_pServer->SetZelProcessorEvent(&event);
    m_pServer->Stop(false);
    m_pServer->Stop(true);
    EXPECT_EQ(m_pServer->GetZelProcessorEvent(), &event);
    Run();
    EXPECT_EQ(SendAndWait(L"a.drq"), eRequestStatus_Done) << "the stop before did not outlast the start";
    m_pServer->Stop(true);
    EXPECT_EQ(event.m_done, 1);
    static_cast<void>(m_host.TakeLogLines());
    m_pServer->Stop(true);
    m_pServer->Stop(false);
    EXPECT_FALSE(Access().HasThreads());
    EXPECT_TRUE(m_host.TakeLogLines().empty());
    EXPECT_EQ(Read(In(m_outputDir, L"a.drq")), "<Response/>") << "nothing is taken away";
    m_pServer.reset();
}

TEST_F(Server, AStopWithoutWaitingCanBeFollowedByOneThatWaits)
{
    Run();
    m_pServer->Stop(false);
    EXPECT_TRUE(Access().HasThreads());
    m_pServer->Stop(true);
    EXPECT_FALSE(Access().HasThreads());
}

TEST_F(Server, TheDestructorStopsARunningServer)
{
    CGate gate;
    bool isDone = false;
    m_script.obtainData = [&](auto*, auto*) {
        isDone = gate.Pass();
        return isDone;
    };
    Run();
    Send(L"a.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    std::thread opener([&] {
        m_host.ExpectLogLine(L"CZelProcessorServer::Listen() finished.");
        gate.Open();
    });
    m_pServer.reset();
    opener.join();
    EXPECT_TRUE(isDone) << "it waited for the running request";
    EXPECT_EQ(m_client.GetStatus(L"a.drq", nullptr), eRequestStatus_Done);
}

TEST_F(Server, ARunThatFollowsAStopWithoutWaitingWaitsForTheRunningRequest)
{
    CGate gate;
    m_script.obtainData = [&](auto*, auto*) { return gate.Pass(); };
    Run();
    Send(L"a.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    m_pServer->Stop(false);
    m_host.ExpectLogLine(L"CZelProcessorServer::Listen() finished.");
    std::thread opener([&] { gate.Open(); });
    Run();
    opener.join();
    EXPECT_EQ(WaitForEnd(L"a.drq"), eRequestStatus_Done);
    EXPECT_EQ(SendAndWait(L"b.drq"), eRequestStatus_Done);
    m_pServer->Stop(true);
    EXPECT_FALSE(Access().HasThreads());
}

TEST_F(Server, ARunWhileItRunsIsFalseAndChangesNothing)
{
    Run();
    m_pServer->SetManualProceedQueue(true);
    EXPECT_FALSE(m_pServer->Run());
    EXPECT_FALSE(m_pServer->CanProceedQueue()) << "it has its processor still";
    m_pServer->SetManualProceedQueue(false);
    EXPECT_EQ(SendAndWait(L"a.drq"), eRequestStatus_Done);
}

TEST_F(Server, StoppingWaitsForTheRunningRequest)
{
    CGate gate;
    m_script.obtainData = [&](auto*, auto*) { return gate.Pass(); };
    Run();
    Send(L"a.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    m_pServer->Stop(false);
    gate.Open();
    m_pServer->Stop(true);
    EXPECT_EQ(m_client.GetStatus(L"a.drq", nullptr), eRequestStatus_Done);
}

TEST_F(Server, WithoutExecutiveThreadRequestsAreQueuedAndNotRun)
{
    m_pServer->SetNoExecutiveThread(true);
    Run();
    EXPECT_FALSE(Access().HasExecutiveThread());
    CZelRequestWatch watch(m_client, m_outputDir);
    Send(L"a.drq");
    ASSERT_TRUE(WaitUntil([&] { return Access().IsRequestInQueue(L"a.drq"); }));
    EXPECT_EQ(m_client.GetStatus(L"a.drq", nullptr), eRequestStatus_Waiting);
    EXPECT_EQ(m_context.m_starts, 0);
}

TEST_F(Server, AStopBeforeTheListenerIsUpIsNotOverwritten)
{
    CGate gate;
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Watch)
            gate.Pass();
    });
    testsupport::CManualClock clock;
    const platform::CScopedOs os(&m_files, &clock);
    std::thread hurry([&] {
        if (gate.WaitUntilEntered())
            clock.Advance(std::chrono::seconds(11));
    });
    EXPECT_FALSE(m_pServer->Run());
    hurry.join();
    m_pServer->Stop(false);
    gate.Open();
    ASSERT_TRUE(WaitUntil([&] { return Access().IsListening(); }));
    EXPECT_FALSE(Access().IsRunning()) << "before it is asked again";
    m_pServer->Stop(true);
    EXPECT_FALSE(Access().HasThreads());
    Run();
    EXPECT_EQ(SendAndWait(L"a.drq"), eRequestStatus_Done) << "the next run is like a first one";
    m_pServer.reset();
}

TEST_F(Server, ManualSteppingNeedsAProcessor)
{
    m_pServer->SetManualProceedQueue(true);
    m_pServer->ProceedQueue();
    EXPECT_FALSE(m_pServer->CanProceedQueue());
    Run();
    EXPECT_TRUE(m_pServer->CanProceedQueue()) << "what was set before Run is lost";
    m_pServer->SetManualProceedQueue(true);
    EXPECT_FALSE(m_pServer->CanProceedQueue());
    m_pServer->ProceedQueue();
    EXPECT_TRUE(m_pServer->CanProceedQueue());
}

TEST_F(Server, TheHostHearsOfEachRequestThatIsDone)
{
    struct SEvent final : CZelProcessorEvent {
        void OnRequestDone() override { ++m_done; }
        std::atomic<int> m_done = 0;
    } event;
    m_pServer->SetZelProcessorEvent(&event);
    Run();
    EXPECT_EQ(SendAndWait(L"a.drq"), eRequestStatus_Done);
    EXPECT_EQ(SendAndWait(L"b.drq"), eRequestStatus_Done);
    m_pServer->Stop(true);
    EXPECT_EQ(event.m_done, 2);
}
