#include "tests/library/ServerFixture.h"

#include "framework/Exceptions.h"
#include "processor/ZelProcessorFactories.h"
#include "tests/support/FaultyThreads.h"
#include "tests/support/Links.h"
#include "tests/support/ManualClock.h"

#include <new>

namespace {

class Server : public CServerFixture {};

/// The host of a server whose file system throws when it is told to.
class FailedServer : public CServerFixture {
protected:
    void SetUp() override
    {
        CServerFixture::SetUp();
        m_files.OnCall([this](const testsupport::SFileCall& call) {
            if (m_bThrow && call.call == m_call && call.path.find(m_pathPart) != std::wstring::npos)
                throw std::bad_alloc();
        });
        m_pOs = std::make_unique<platform::CScopedOs>(&m_files, nullptr);
        SZelServerOptions options{.syncing = false};
        options.failed = [](void* host) { static_cast<FailedServer*>(host)->Failed(); };
        options.failedContext = this;
        m_pServer->SetOptions(options);
    }
    void TearDown() override
    {
        m_pServer.reset();
        m_pOs.reset();
    }
    void ThrowOn(testsupport::eFileCall call, const std::wstring& pathPart)
    {
        m_call = call;
        m_pathPart = pathPart;
        m_bThrow = true;
    }
    void Failed()
    {
        ++m_told;
        m_failed.Set();
    }
    void ExpectEndAndNewStart(const wchar_t* thread)
    {
        ASSERT_TRUE(m_failed.WaitFor(kPatience));
        EXPECT_TRUE(m_pServer->HasFailed());
        EXPECT_FALSE(Access().IsRunning());
        m_pServer->Stop(true); // returns: both threads have ended, or are about to
        EXPECT_EQ(m_told, 1);
        const auto reports = m_host.TakeReports();
        ASSERT_EQ(reports.size(), 1U);
        EXPECT_EQ(reports[0].function, thread);
        EXPECT_EQ(reports[0].message, L"std::bad_alloc");
        m_bThrow = false;
        Run();
        EXPECT_FALSE(m_pServer->HasFailed());
        EXPECT_EQ(SendAndWait(L"next.drq"), eRequestStatus_Done);
    }

    testsupport::eFileCall m_call = testsupport::eFileCall_Open;
    std::wstring m_pathPart;
    std::atomic<bool> m_bThrow = false;
    std::atomic<int> m_told = 0;
    platform::CManualResetEvent m_failed;
    std::unique_ptr<platform::CScopedOs> m_pOs;
};

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

TEST_F(Server, RunIsFalseTenSecondsAfterAListenerThatCanNotWatch)
{
    CZelProcessorServer server;
    server.SetZelProcessorContext(&m_context);
    EXPECT_FALSE(server.Run()) << "the output directory is refused";

    testsupport::CFaultyFiles& files = m_files;
    files.FailAlways(testsupport::eFileCall_Watch, platform::eOsError_AccessDenied);
    // Each look at the clock moves it, so the ten seconds are over soon.
    class CHastyClock final : public platform::IClock {
    public:
        std::uint32_t TickCount() override { return m_ticks += 4000; }
        std::chrono::nanoseconds Steady() override { return platform::SystemClock().Steady(); }
        std::int64_t UtcSeconds() override { return platform::SystemClock().UtcSeconds(); }
        void YieldThread() override { platform::SystemClock().YieldThread(); }
        void SleepFor(std::chrono::milliseconds duration) override { platform::SystemClock().SleepFor(duration); }

    private:
        std::atomic<std::uint32_t> m_ticks = 0;
    } clock;
    const platform::CScopedOs os(&files, &clock);
    EXPECT_FALSE(m_pServer->Run());
    const auto reports = m_host.TakeReports();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].sourceLine, 140);
    EXPECT_EQ(reports[0].function, L"CZelProcessorServer::Listen()");
    EXPECT_EQ(reports[0].message,
              L"FindFirstChangeNotification failed.\n" + platform::OsErrorText(platform::eOsError_AccessDenied));
    m_pServer.reset();
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

TEST_F(Server, RunIsFalseWhenAThreadCanNotBeStarted)
{
    {
        const testsupport::CFaultyThreads threads(1);
        EXPECT_FALSE(m_pServer->Run());
        EXPECT_FALSE(Access().HasThreads());
    }
    {
        const testsupport::CFaultyThreads threads(2);
        EXPECT_FALSE(m_pServer->Run());
        EXPECT_FALSE(Access().HasExecutiveThread());
    }
    m_pServer.reset(); // ends the listener
}

TEST_F(FailedServer, AnExceptionOutOfTheListenerEndsTheServerAndTellsTheHost)
{
    Run();
    ThrowOn(testsupport::eFileCall_List, m_requestDir);
    Write(In(m_requestDir, L"change.txt"));
    ExpectEndAndNewStart(L"CZelProcessorServer::MessageHandling");
}

TEST_F(FailedServer, AnExceptionOutOfTheExecutiveEndsTheServerAndTellsTheHost)
{
    Run();
    ThrowOn(testsupport::eFileCall_Open, L"a.drq.status");
    Send(L"a.drq");
    ExpectEndAndNewStart(L"CZelProcessorServer::Executive");
}

TEST_F(FailedServer, AHostThatWantsNotToBeToldCanAsk)
{
    m_pServer->SetOptions({.syncing = false});
    Run();
    EXPECT_FALSE(m_pServer->HasFailed());
    ThrowOn(testsupport::eFileCall_List, m_requestDir);
    Write(In(m_requestDir, L"change.txt"));
    EXPECT_TRUE(WaitUntil([&] { return m_pServer->HasFailed(); }));
    m_pServer->Stop(true);
    EXPECT_EQ(m_told, 0);
    m_host.ExpectReport(90, L"std::bad_alloc");
}

TEST_F(Server, WaitingAndRunningATaskAreProgress)
{
    EXPECT_TRUE(m_pServer->MakesProgress()) << "it does not run";
    CGate gate;
    m_script.obtainData = [&](auto*, auto*) { return gate.Pass(); };
    Run();
    for (int turn = 0; turn < 2; ++turn)
        EXPECT_TRUE(WaitUntil([&] { return m_pServer->MakesProgress(); })) << "nothing to do";
    Send(L"a.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    static_cast<void>(m_pServer->MakesProgress());
    for (int turn = 0; turn < 2; ++turn)
        EXPECT_TRUE(WaitUntil([&] { return m_pServer->MakesProgress(); })) << "in the task";
    gate.Open();
    EXPECT_EQ(WaitForEnd(L"a.drq"), eRequestStatus_Done);
    m_pServer->Stop(true);
    EXPECT_TRUE(m_pServer->MakesProgress()) << "it has ended";
}

TEST_F(Server, AListenerThatStandsStillIsNoProgress)
{
    CGate gate;
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_List && call.path == m_requestDir)
            static_cast<void>(gate.Pass());
    });
    const platform::CScopedOs os(&m_files, nullptr);
    Run();
    Write(In(m_requestDir, L"change.txt"));
    ASSERT_TRUE(gate.WaitUntilEntered());
    static_cast<void>(m_pServer->MakesProgress());
    EXPECT_FALSE(m_pServer->MakesProgress());
    gate.Open();
    EXPECT_TRUE(WaitUntil([&] { return m_pServer->MakesProgress(); })) << "it goes on";
    m_pServer->Stop(true);
}

TEST_F(Server, AnExecutiveThatStandsStillOutsideOfATaskIsNoProgress)
{
    CGate gate;
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Open && call.path.ends_with(L"a.drq.status"))
            static_cast<void>(gate.Pass());
    });
    const platform::CScopedOs os(&m_files, nullptr);
    Run();
    Write(In(m_requestDir, L"a.drq"));
    ASSERT_TRUE(gate.WaitUntilEntered());
    static_cast<void>(m_pServer->MakesProgress());
    const unsigned looks = m_files.Count(testsupport::eFileCall_List);
    Write(In(m_requestDir, L"change.txt"));
    ASSERT_TRUE(WaitUntil([&] { return m_files.Count(testsupport::eFileCall_List) > looks; }))
        << "the listener is well";
    EXPECT_FALSE(m_pServer->MakesProgress());
    gate.Open();
    EXPECT_TRUE(WaitUntil([&] { return m_pServer->MakesProgress(); })) << "it goes on";
    m_pServer->Stop(true);
}

TEST_F(Server, WaitingForWhoHoldsAFileIsProgress)
{
    const auto command = [](const std::string& type) {
        return "<Command Type='" + type + "'><RequestName>name</RequestName></Command>";
    };
    const struct {
        testsupport::eFileCall call;
        std::wstring held;
        std::wstring sent;
        std::string content;
    } cases[] = {
        {testsupport::eFileCall_Move, In(m_requestDir, L"x.drq"), L"x.drq", "<Request/>"},
        {testsupport::eFileCall_Open, In(m_outputDir, L"x.drq.status"), L"x.drq", "<Request/>"},
        {testsupport::eFileCall_Move, In(m_requestDir, L"x.command"), L"x.command", command("CancelRequest")},
        {testsupport::eFileCall_Open, In(m_outputDir, L"x.command.status"), L"x.command", command("CancelRequest")},
        {testsupport::eFileCall_Open, Queued(L"x.command"), L"x.command", command("CancelRequest")},
        {testsupport::eFileCall_Open, In(m_outputDir, L"name"), L"x.command", command("RegisterClient")},
    };
    for (const auto& test : cases) {
        platform::CManualResetEvent tried;
        m_files.OnCall([&](const testsupport::SFileCall& call) {
            if (call.call == test.call && call.path == test.held)
                tried.Set();
        });
        m_files.FailAlways(test.call, platform::eOsError_SharingViolation, test.held);
        {
            const platform::CScopedOs os(&m_files, nullptr);
            Make();
            Run();
            Write(In(m_requestDir, test.sent), test.content);
            EXPECT_TRUE(tried.WaitFor(kPatience));
            static_cast<void>(m_pServer->MakesProgress());
            for (int turn = 0; turn < 2; ++turn)
                EXPECT_TRUE(WaitUntil([&] { return m_pServer->MakesProgress(); })) << platform::ToUtf8(test.held);
            m_files.StopFailing();
            EXPECT_TRUE(WaitUntil([&] {
                return !platform::PathExists(In(m_requestDir, test.sent)) && !platform::PathExists(Queued(test.sent));
            }));
            m_pServer.reset();
        }
    }
}

TEST_F(Server, ALookThatPutsFilesOffIsProgress)
{
    Make({.syncing = false, .takeTurns = true});
    m_pServer->SetNoExecutiveThread(true);
    CGate first;
    CGate second;
    int files = 0; // listener's thread only
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_List && call.path == m_requestDir)
            m_clock.Advance(std::chrono::seconds(1)); // more than files are taken for as they are found
        if (call.call == testsupport::eFileCall_GetOwner && files < 2)
            static_cast<void>((files++ == 0 ? first : second).Pass());
    });
    for (const wchar_t* name : {L"a.drq", L"b.drq"})
        Write(In(m_requestDir, name));
    const platform::CScopedOs os(&m_files, &m_clock);
    Run();
    Write(In(m_requestDir, L"change.txt"));
    ASSERT_TRUE(first.WaitUntilEntered());
    static_cast<void>(m_pServer->MakesProgress());
    first.Open();
    ASSERT_TRUE(second.WaitUntilEntered());
    EXPECT_TRUE(m_pServer->MakesProgress());
    second.Open();
    EXPECT_TRUE(WaitUntil([&] { return Access().QueuedNames().size() == 2; }));
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
