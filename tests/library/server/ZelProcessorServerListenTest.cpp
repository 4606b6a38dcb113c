#include "tests/support/ServerKit.h"

#include "framework/Services.h"

namespace {

class Listener : public CServerFixture {
protected:
    /// A later request that is done proves that everything before it was scanned.
    int m_nMoves = 0; ///< listener's thread only

    void WaitForAScan(const std::wstring& name = L"marker.drq") { EXPECT_EQ(SendAndWait(name), eRequestStatus_Done); }
};

} // namespace

TEST_F(Listener, LogsItsStartAndItsEnd)
{
    Run();
    m_host.ExpectLogLine(L"CZelProcessorServer::Listen() started");
    m_pServer->Stop(true);
    m_host.ExpectLogLine(L"CZelProcessorServer::Listen() finished.");
}

TEST_F(Listener, TakesRequestsInAnyLetterCaseAndBothExtensions)
{
    Run();
    for (const wchar_t* name :
         {L"a.drq", L"b.DRQ", L"c.xml", L"d.Xml", L"name with blanks.drq", L"p\u00e9\u6f22.drq"}) {
        EXPECT_EQ(SendAndWait(name), eRequestStatus_Done) << testing::PrintToString(std::wstring(name));
        EXPECT_TRUE(platform::PathExists(In(m_outputDir, name)));
    }
}

TEST_F(Listener, LeavesEverythingElseUntouched)
{
    const std::vector<std::wstring> others = {L"x.txt", L"x.drq.tmp", L"x.status", L"drq"};
    for (const std::wstring& name : others)
        Write(In(m_requestDir, name), "kept");
    ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(In(m_requestDir, L"dir.drq"))));
    Run();
    WaitForAScan();
    for (const std::wstring& name : others)
        EXPECT_EQ(Read(In(m_requestDir, name)), "kept");
    EXPECT_TRUE(platform::DirectoryExists(In(m_requestDir, L"dir.drq")));
}

TEST_F(Listener, FindsFilesThatLayThereBeforeAtTheFirstChange)
{
    Write(In(m_requestDir, L"early.drq"));
    Run();
    EXPECT_EQ(m_client.GetStatus(L"early.drq", nullptr), eRequestStatus_Waiting);
    Write(In(m_requestDir, L"change.txt"));
    EXPECT_EQ(WaitForEnd(L"early.drq"), eRequestStatus_Done);
}

TEST_F(Listener, ThatResumesFindsThemAtOnce)
{
    Write(In(m_requestDir, L"early.drq"));
    Make({.syncing = false, .pausedStatus = true, .resume = true});
    Run();
    EXPECT_EQ(WaitForEnd(L"early.drq"), eRequestStatus_Done);
}

TEST_F(Listener, HandlesACommandBesideItsStatusFile)
{
    Run();
    Write(In(m_clientDir, L"x.command"), "<Command Type='?'><RequestName>a</RequestName></Command>");
    ASSERT_EQ(m_client.SendRequest(In(m_clientDir, L"x.command")), eRequestStatus_Sent);
    m_host.ExpectBox(L"Processing of command " + In(m_requestDir, L"x.command") + L" failed");
    EXPECT_EQ(m_client.GetStatus(L"x.command", &m_additional), eRequestStatus_ProcessingStarted);
    EXPECT_EQ(m_additional.GetProgressComment(), RootApp_RSC_CStr(127, "IDS_PROCESSING_STARTED"));
    m_pServer->Stop(true);
    static_cast<void>(m_host.TakeBoxes());
}

TEST_F(Listener, AFailedRearmingIsReportedAndTheListenerGoesOn)
{
    testsupport::CFaultyFiles& files = m_files;
    files.FailCall(testsupport::eFileCall_Rearm, 1, platform::eOsError_AccessDenied);
    const platform::CScopedOs os(&files, nullptr);
    Run();
    Send(L"a.drq");
    EXPECT_EQ(WaitForEnd(L"a.drq"), eRequestStatus_Done) << "the change stays signalled until it is re-armed";
    const auto reports = m_host.TakeReports();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].sourceLine, 162);
    EXPECT_EQ(reports[0].function, L"CZelProcessorServer::Listen()");
    EXPECT_EQ(reports[0].message.find(L"FindNextChangeNotification failed.\n"), 0U);
    m_pServer.reset();
}

TEST_F(Listener, AScanThatFailedIsReportedOnceAndMadeUpForWithoutAnotherChange)
{
    testsupport::CFaultyFiles& files = m_files;
    files.FailCall(testsupport::eFileCall_List, 1, platform::eOsError_TooManyOpenFiles, 2, m_requestDir);
    const platform::CScopedOs os(&files, nullptr);
    Run();
    EXPECT_EQ(SendAndWait(L"a.drq"), eRequestStatus_Done);
    m_pServer.reset();
    const auto reports = m_host.TakeReports();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].sourceLine, 170);
    EXPECT_EQ(reports[0].function, L"CZelProcessorServer::Listen()");
    EXPECT_EQ(reports[0].message,
              L"The request directory cannot be read.\n" + platform::OsErrorText(platform::eOsError_TooManyOpenFiles));
}

TEST_F(Listener, AStopEndsItAtOnceAlthoughAFileIsHeld)
{
    for (const wchar_t* name : {L"held.drq", L"held.command"}) {
        platform::CManualResetEvent tried;
        m_files.OnCall([&](const testsupport::SFileCall& call) {
            if (call.call == testsupport::eFileCall_Move && call.path == In(m_requestDir, name))
                tried.Set();
        });
        m_files.FailAlways(testsupport::eFileCall_Move, platform::eOsError_SharingViolation, In(m_requestDir, name));
        const platform::CScopedOs os(&m_files, nullptr);
        Run();
        Write(In(m_requestDir, name));
        ASSERT_TRUE(tried.WaitFor(kPatience));
        m_pServer->Stop(true);
        m_files.StopFailing();
        EXPECT_TRUE(platform::PathExists(In(m_requestDir, name))) << "left for the next server";
        EXPECT_TRUE(platform::Succeeded(platform::Files().Remove(In(m_requestDir, name))));
    }
    EXPECT_EQ(m_client.GetStatus(L"held.command", nullptr), eRequestStatus_ProcessingStarted) << "nothing failed";
    m_pServer.reset();
}

TEST_F(Listener, AStopEndsItWithinASecondAndWakesTheExecutive)
{
    m_pServer->SetNoExecutiveThread(true);
    Run();
    EXPECT_FALSE(Access().Requests().WaitFor(std::chrono::milliseconds(0)));
    const auto start = std::chrono::steady_clock::now();
    m_pServer->Stop(false);
    m_host.ExpectLogLine(L"CZelProcessorServer::Listen() finished.", std::chrono::seconds(1));
    EXPECT_TRUE(Access().Requests().WaitFor(std::chrono::milliseconds(0)));
    m_pServer->Stop(true);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

TEST_F(Listener, RequestsOfOneScanRunInTheOrderOfTheFileSystem)
{
    std::vector<std::wstring> order;
    m_script.createRequest = [&](const std::wstring& path) {
        order.push_back(platform::FileNameOf(path));
        return true;
    };
    for (const wchar_t* name : {L"d.drq", L"b.drq", L"a.xml", L"c.drq"})
        Write(In(m_requestDir, name));
    Write(In(m_requestDir, L"change.txt"));
    std::vector<std::wstring> listed = FilesIn(m_requestDir);
    std::erase(listed, L"change.txt");
    Run();
    ASSERT_TRUE(platform::Succeeded(platform::Files().Remove(In(m_requestDir, L"change.txt"))));
    for (const std::wstring& name : listed)
        EXPECT_EQ(WaitForEnd(name), eRequestStatus_Done);
    m_pServer.reset();
    EXPECT_EQ(order, listed);
}

TEST_F(Listener, WhatWaitsIsServedWhileAnotherFileIsHeld)
{
    CGate gate;
    m_script.createRequest = [&, first = true](const std::wstring&) mutable {
        return !std::exchange(first, false) || gate.Pass();
    };
    platform::CManualResetEvent tried;
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Move && call.path == In(m_requestDir, L"held.drq"))
            tried.Set();
    });
    m_files.FailAlways(testsupport::eFileCall_Move, platform::eOsError_SharingViolation, In(m_requestDir, L"held.drq"));
    const platform::CScopedOs os(&m_files, nullptr);
    Run();
    Send(L"running.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    Send(L"waiting.drq");
    ASSERT_TRUE(WaitUntil([&] { return Access().IsRequestInQueue(L"waiting.drq"); }));
    Write(In(m_requestDir, L"held.drq"));
    ASSERT_TRUE(tried.WaitFor(kPatience));
    gate.Open();
    EXPECT_EQ(WaitForEnd(L"running.drq"), eRequestStatus_Done);
    EXPECT_EQ(WaitForEnd(L"waiting.drq"), eRequestStatus_Done);
    EXPECT_FALSE(Access().IsRequestInQueue(L"held.drq"));
    m_files.StopFailing();
    EXPECT_EQ(WaitForEnd(L"held.drq"), eRequestStatus_Done);
    m_pServer.reset();
}

TEST_F(Listener, WithPatienceAHeldFileHoldsUpNobodyButItself)
{
    Make({.syncing = false, .patience = std::chrono::milliseconds(50)});
    for (const wchar_t* held : {L"a.drq", L"a.command"})
        m_files.FailAlways(testsupport::eFileCall_Move, platform::eOsError_SharingViolation, In(m_requestDir, held));
    const platform::CScopedOs os(&m_files, nullptr);
    Run();
    Write(In(m_requestDir, L"a.drq"));
    Write(In(m_requestDir, L"a.command"));
    EXPECT_EQ(SendAndWait(L"b.drq"), eRequestStatus_Done);
    EXPECT_EQ(SendAndWait(L"c.drq"), eRequestStatus_Done);
    m_files.StopFailing();
    EXPECT_EQ(WaitForEnd(L"a.drq"), eRequestStatus_Done) << "without another change in the directory";
    m_host.ExpectBox(L"Processing of command " + In(m_requestDir, L"a.command") + L" failed"); // it is no command
    m_pServer.reset();
}

TEST_F(Listener, ACommandThatIsHeldIsToldOfWhenItIsTaken)
{
    Make({.syncing = false, .patience = std::chrono::milliseconds(50)});
    const std::wstring command = In(m_requestDir, L"x.command");
    m_files.FailAlways(testsupport::eFileCall_Move, platform::eOsError_SharingViolation, command);
    m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation, L"x.command.status");
    const platform::CScopedOs os(&m_files, nullptr);
    Run();
    Write(command, "<Command Type='CancelRequest'><RequestName>none</RequestName></Command>");
    const unsigned looks = m_files.Count(testsupport::eFileCall_List);
    EXPECT_TRUE(WaitUntil([&] { return m_files.Count(testsupport::eFileCall_List) > looks + 3; }));
    for (const auto& line : m_host.TakeLogLines())
        EXPECT_EQ(line.text.find(L"x.command.status"), std::wstring::npos) << "its status is nobody's business yet";
    m_files.StopFailing();
    EXPECT_TRUE(WaitUntil([&] { return m_client.GetStatus(L"x.command", nullptr) == eRequestStatus_Done; }));
    m_pServer.reset();
}

TEST_F(Listener, AStatusThatWasLeftIsNotWrittenOverThatOfALaterCommand)
{
    Make({.syncing = false, .patience = std::chrono::milliseconds(50)});
    // The executive, which writes what was left, is kept busy meanwhile.
    CGate gate;
    m_script.obtainData = [&, first = true](auto*, auto*) mutable {
        return !std::exchange(first, false) || gate.Pass();
    };
    const platform::CScopedOs os(&m_files, nullptr);
    Run();
    Send(L"running.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation, L"x.command.status");
    const std::wstring command = In(m_requestDir, L"x.command");
    Write(command, "<Command Type='CancelRequest'><RequestName>none</RequestName></Command>");
    m_host.ExpectLogLine(L"x.command.status' is kept open by ");
    ASSERT_TRUE(
        WaitUntil([&] { return !platform::PathExists(command) && !platform::PathExists(Queued(L"x.command")); }));
    m_files.StopFailing();
    Write(command, "no command");
    m_host.ExpectBox(L"Processing of command " + command + L" failed");
    gate.Open();
    WaitForAScan(); // and for the executive's
    EXPECT_EQ(m_client.GetStatus(L"x.command", nullptr), eRequestStatus_ServerError);
    m_pServer.reset();
}

TEST_F(Listener, RequestsRunWhileTheRestIsLookedAt)
{
    std::atomic<bool> isDone = false;
    bool ranMeanwhile = false;
    m_script.createRequest = [&](const std::wstring&) {
        isDone = true;
        return true;
    };
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        // The second request is moved when the first has run: the scan is not over then.
        if (call.call == testsupport::eFileCall_Move && !ranMeanwhile && m_nMoves++ == 1)
            ranMeanwhile = WaitUntil([&] { return isDone.load(); });
    });
    for (const wchar_t* name : {L"a.drq", L"b.drq"})
        Write(In(m_requestDir, name));
    const platform::CScopedOs os(&m_files, nullptr);
    Run();
    Write(In(m_requestDir, L"change.txt"));
    EXPECT_EQ(WaitForEnd(L"a.drq"), eRequestStatus_Done);
    EXPECT_EQ(WaitForEnd(L"b.drq"), eRequestStatus_Done);
    m_pServer.reset();
    EXPECT_TRUE(ranMeanwhile);
}

TEST_F(Listener, TakesAllOfManyFilesWithTurns)
{
    Make({.syncing = false, .takeTurns = true});
    constexpr int kFiles = 500;
    std::atomic<int> done = 0;
    m_script.createRequest = [&](const std::wstring&) {
        ++done;
        return true;
    };
    for (int index = 0; index < kFiles; ++index)
        Write(In(m_requestDir, std::to_wstring(index) + L".drq"));
    // Each move takes a while, so that the scans end long before the files do.
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Move)
            m_clock.Advance(std::chrono::milliseconds(1));
    });
    {
        const platform::CScopedOs os(&m_files, &m_clock);
        Run();
        Write(In(m_requestDir, L"change.txt"));
        EXPECT_TRUE(WaitUntil([&] { return done == kFiles; })) << done;
        m_pServer->Stop(true);
    }
    EXPECT_EQ(FilesIn(m_requestDir), std::vector<std::wstring>{L"change.txt"});
}
