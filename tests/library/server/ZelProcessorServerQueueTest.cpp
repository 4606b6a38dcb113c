#include "tests/support/ServerKit.h"

#include <string_view>

namespace {

/// A server that is running but never takes a request: the queue is as the test made it.
class Queue : public CServerFixture {
protected:
    void SetUp() override
    {
        CServerFixture::SetUp();
        m_pServer->SetNoExecutiveThread(true);
        Run();
    }
    /// Puts a request into the queue without the listener, which is not told of files outside its directory.
    void Add(const std::wstring& name)
    {
        Write(In(m_clientDir, name));
        ASSERT_TRUE(Access().AddRequestToQueue(In(m_clientDir, name)));
    }
};

/// A host that looks, whenever it shows a box, as a file system of the test looks at each of its calls.
class CLookingHost final : public CRecordingHost {
public:
    explicit CLookingHost(std::function<void()> look) : m_look(std::move(look)) {}
    int ShowMessage(const std::wstring& text, unsigned style, unsigned flags) override
    {
        m_look();
        return CRecordingHost::ShowMessage(text, style, flags);
    }

private:
    const std::function<void()> m_look;
};

/// No executive: only the listener takes the lock of the queue.
class QueueLock : public CServerFixture {
protected:
    void SetUp() override
    {
        CServerFixture::SetUp();
        m_files.OnCall([this](const testsupport::SFileCall&) { Look(); });
        Make({.syncing = false, .pausedStatus = true});
        m_pServer->SetNoExecutiveThread(true);
    }
    void TearDown() override
    {
        m_pServer->Stop(true); // its thread looks through the pointer that goes next
        if (m_asker.joinable())
            m_asker.join();
        m_pServer.reset();
    }

    void Look()
    {
        if (std::string_view(platform::CurrentThreadName()).find("MessageHandling") == std::string_view::npos)
            return;
        ++m_looks;
        if (m_asker.joinable())
            return; // it was locked already
        m_answered.Reset();
        m_asker = std::thread([this] {
            static_cast<void>(Access().Requests().IsKnown({}));
            m_answered.Set();
        });
        if (m_answered.WaitFor(std::chrono::seconds(10)))
            m_asker.join();
        else
            ++m_locked;
    }

    std::atomic<int> m_looks = 0;
    std::atomic<int> m_locked = 0;
    platform::CManualResetEvent m_answered;
    std::thread m_asker; ///< has no answer yet
};

} // namespace

TEST_F(Queue, IsFirstInFirstOut)
{
    Add(L"a.drq");
    Add(L"b.drq");
    Add(L"c.drq");
    EXPECT_TRUE(platform::PathExists(Queued(L"a.drq")));
    EXPECT_FALSE(platform::PathExists(In(m_clientDir, L"a.drq")));
    bool bLast = false;
    for (const wchar_t* name : {L"a.drq", L"b.drq", L"c.drq"}) {
        TSRequestItem item;
        ASSERT_TRUE(Access().Requests().TakeRequest(item, bLast, [] {}));
        EXPECT_EQ(item.m_strFile, Queued(name));
    }
    EXPECT_TRUE(bLast);
}

TEST_F(Queue, NoStatusIsWrittenForAWaitingRequest)
{
    Add(L"a.drq");
    EXPECT_FALSE(platform::PathExists(In(m_outputDir, L"a.drq.status")));
    EXPECT_EQ(m_client.GetStatus(L"a.drq", nullptr), eRequestStatus_Waiting);
}

TEST_F(Queue, ANameThatIsAlreadyQueuedIsNotMovedAndBothPathsAreShown)
{
    Add(L"a.drq");
    Write(In(m_clientDir, L"a.drq"), "second");
    EXPECT_FALSE(Access().AddRequestToQueue(In(m_clientDir, L"a.drq")));
    m_host.ExpectBox(L"CZelProcessorServer::AddRequestToQueue : moving of the file '" + In(m_clientDir, L"a.drq") +
                     L"' to '" + Queued(L"a.drq") + L"' failed");
    EXPECT_EQ(Read(In(m_clientDir, L"a.drq")), "second");
    EXPECT_EQ(Access().Requests().CountOf({}), 1U);
}

TEST_F(Queue, AFileThatVanishedIsNoError)
{
    EXPECT_FALSE(Access().AddRequestToQueue(In(m_clientDir, L"gone.drq")));
    EXPECT_TRUE(Access().QueuedNames().empty());
}

TEST_F(Queue, ARemovedRequestLosesItsEntryAndItsFile)
{
    Add(L"a.drq");
    Add(L"b.drq");
    EXPECT_TRUE(Access().RemoveRequestFromQueue(L"a.drq"));
    EXPECT_EQ(Access().QueuedNames(), std::vector<std::wstring>{L"b.drq"});
    EXPECT_FALSE(platform::PathExists(Queued(L"a.drq")));
    EXPECT_FALSE(Access().RemoveRequestFromQueue(L"a.drq"));
}

TEST_F(Queue, NamesAreMatchedExactlyByTheirFinalComponent)
{
    Add(L"x.drq");
    EXPECT_TRUE(Access().IsRequestInQueue(L"x.drq"));
    EXPECT_TRUE(Access().IsRequestInQueue(In(m_requestDir, L"x.drq")));
    EXPECT_FALSE(Access().IsRequestInQueue(L"X.DRQ"));
    EXPECT_FALSE(Access().RemoveRequestFromQueue(L"X.DRQ"));
    EXPECT_FALSE(Access().IsRequestPaused(L"x.drq"));
}

TEST_F(Queue, AFileThatIsJustOpenIsDeletedWhenItIsFree)
{
    Add(L"a.drq");
    m_files.FailCall(testsupport::eFileCall_Remove, 1, platform::eOsError_SharingViolation, 10, Queued(L"a.drq"));
    const platform::CScopedOs os(&m_files, nullptr);
    EXPECT_TRUE(Access().RemoveRequestFromQueue(L"a.drq"));
    EXPECT_FALSE(platform::PathExists(Queued(L"a.drq")));
}

TEST_F(Queue, AFileThatIsHeldIsAWarningAfterASecond)
{
    Add(L"a.drq");
    m_files.FailAlways(testsupport::eFileCall_Remove, platform::eOsError_SharingViolation, Queued(L"a.drq"));
    const platform::CScopedOs os(&m_files, &m_clock);
    const std::chrono::nanoseconds start = m_clock.Steady();
    EXPECT_TRUE(Access().RemoveRequestFromQueue(L"a.drq"));
    EXPECT_EQ(m_clock.Steady() - start, std::chrono::seconds(1));
    m_host.ExpectBox(L"Unable to delete request file from the queue directory.");
}

TEST_F(Queue, AFileThatCanNotBeDeletedIsAWarningAndTheEntryIsGone)
{
    Add(L"a.drq");
    testsupport::CFaultyFiles& files = m_files;
    files.FailCall(testsupport::eFileCall_Remove, 1, platform::eOsError_AccessDenied);
    {
        const platform::CScopedOs os(&files, nullptr);
        EXPECT_TRUE(Access().RemoveRequestFromQueue(L"a.drq"));
    }
    const auto boxes = m_host.TakeBoxes();
    ASSERT_EQ(boxes.size(), 1U);
    EXPECT_EQ(boxes[0].text, L"Unable to delete request file from the queue directory.\nFile:" + Queued(L"a.drq"));
    EXPECT_EQ(boxes[0].style, 48U);
    EXPECT_FALSE(Access().IsRequestInQueue(L"a.drq"));
}

TEST_F(QueueLock, IsNotHeldWhileAFileIsTouchedOrABoxShown)
{
    const CLookingHost host([this] { Look(); });
    const platform::CScopedOs os(&m_files, nullptr);
    Run();
    Send(L"a.drq");
    EXPECT_TRUE(WaitUntil([&] { return platform::PathExists(Queued(L"a.drq")); }));
    Write(In(m_requestDir, L"b.txt"));
    for (const wchar_t* name : {L"a.drq", L"a.drq", L"a.drq", L"b.txt", L"b.txt"}) // paused, resumed, paused
        EXPECT_EQ(m_client.PauseRequest(name), eRequestStatus_Done);
    EXPECT_EQ(Access().QueuedNames(), std::vector<std::wstring>{L"b.txt"});
    EXPECT_EQ(m_client.CancelRequest(L"b.txt"), eRequestStatus_Done);
    EXPECT_GT(m_looks, 20);
    EXPECT_EQ(m_locked, 0);
    m_pServer->Stop(true);
}

TEST_F(QueueLock, IsNotHeldWhileTheOperatorReadsABox)
{
    CLookingHost host([this] { Look(); });
    const platform::CScopedOs os(&m_files, nullptr);
    Run();
    Write(Queued(L"taken.drq"));
    Send(L"taken.drq");
    host.ExpectBox(L"AddRequestToQueue");
    m_looks = 0;
    Write(Queued(L"taken.txt"));
    Write(In(m_requestDir, L"taken.txt"));
    Write(In(m_clientDir, L"x.command"), "<Command Type='PauseRequest'><RequestName>taken.txt</RequestName></Command>");
    ASSERT_EQ(m_client.SendRequest(In(m_clientDir, L"x.command")), eRequestStatus_Sent);
    host.ExpectBox(L"PauseOrUnpauseRequest");
    host.ExpectBox(L"x.command failed");
    EXPECT_GT(m_looks, 0);
    EXPECT_EQ(m_locked, 0);
    m_pServer->Stop(true);
    static_cast<void>(host.TakeBoxes());
}

namespace {

/// A server with limits, at which nothing runs: what is queued stays.
class QueueLimit : public CServerFixture {
protected:
    void SetUp() override
    {
        CServerFixture::SetUp();
        Make({.syncing = false, .pausedStatus = true, .maxQueued = 2});
        m_pServer->SetNoExecutiveThread(true);
    }
    void ExpectRefused(const std::wstring& name)
    {
        EXPECT_EQ(SendAndWait(name), eRequestStatus_ServerError);
        static_cast<void>(m_client.GetStatus(name, &m_additional));
        EXPECT_EQ(m_additional.GetProgressComment(), FormatText(RootApp_RSC_CStr(135, "IDS_TOO_MANY_WAITING"), {L"2"}));
        EXPECT_FALSE(platform::PathExists(In(m_requestDir, name)));
        EXPECT_FALSE(platform::PathExists(Queued(name)));
    }
    void SendAndWaitUntilQueued(const std::wstring& name)
    {
        Send(name);
        ASSERT_TRUE(WaitUntil([&] { return Access().IsRequestInQueue(name); }));
    }
};

} // namespace

TEST_F(QueueLimit, TheRequestBeyondTheLimitIsRefusedAndToldWhy)
{
    Run();
    SendAndWaitUntilQueued(L"a.drq");
    SendAndWaitUntilQueued(L"b.drq");
    ExpectRefused(L"c.drq");
    EXPECT_EQ(Access().QueuedNames(), (std::vector<std::wstring>{L"a.drq", L"b.drq"}));
    m_host.ExpectLogLine(L"Refused (1 since the last such line): " + In(m_requestDir, L"c.drq"));
}

TEST_F(QueueLimit, ThereIsRoomAgainWhenOneIsGone)
{
    Run();
    SendAndWaitUntilQueued(L"a.drq");
    SendAndWaitUntilQueued(L"b.drq");
    ASSERT_EQ(m_client.CancelRequest(L"a.drq"), eRequestStatus_Done);
    SendAndWaitUntilQueued(L"c.drq");
}

TEST_F(QueueLimit, PausedRequestsCount)
{
    Run();
    SendAndWaitUntilQueued(L"a.drq");
    SendAndWaitUntilQueued(L"b.drq");
    ASSERT_EQ(m_client.PauseRequest(L"a.drq"), eRequestStatus_Done);
    ExpectRefused(L"c.drq");
    ASSERT_EQ(m_client.PauseRequest(L"a.drq"), eRequestStatus_Done) << "what is paused goes on";
    EXPECT_TRUE(Access().IsRequestInQueue(L"a.drq"));
    m_host.ExpectLogLine(L"Refused (");
}

TEST_F(QueueLimit, WithoutOneEveryRequestIsQueued)
{
    Make();
    m_pServer->SetNoExecutiveThread(true);
    Run();
    for (const wchar_t* name : {L"a.drq", L"b.drq", L"c.drq", L"d.drq"})
        SendAndWaitUntilQueued(name);
}

TEST_F(QueueLimit, TheStatusOfARequestOfTheSameNameIsLeftAlone)
{
    Make({.syncing = false, .cancelByName = true, .pausedStatus = true, .maxQueued = 2});
    CGate gate;
    m_script.obtainData = [&, first = true](auto*, auto*) mutable {
        return !std::exchange(first, false) || gate.Pass();
    };
    Run();
    Send(L"runs.drq");
    ASSERT_TRUE(gate.WaitUntilEntered());
    SendAndWaitUntilQueued(L"waits.drq");
    SendAndWaitUntilQueued(L"paused.drq");
    ASSERT_EQ(m_client.PauseRequest(L"paused.drq"), eRequestStatus_Done);
    const eZelProcRequestStatus running = m_client.GetStatus(L"runs.drq", nullptr);
    for (const wchar_t* name : {L"runs.drq", L"waits.drq", L"paused.drq"}) {
        Write(In(m_requestDir, name)); // by hand: who asks for the status first sends nothing
        EXPECT_TRUE(WaitUntil([&] { return !platform::PathExists(In(m_requestDir, name)); }));
    }
    ExpectRefused(L"other.drq"); // after all of them
    EXPECT_EQ(m_client.GetStatus(L"runs.drq", nullptr), running);
    EXPECT_EQ(m_client.GetStatus(L"waits.drq", nullptr), eRequestStatus_Waiting);
    EXPECT_EQ(m_client.GetStatus(L"paused.drq", nullptr), eRequestStatus_Paused);
    m_host.ExpectLogLine(L"Refused (1 since the last such line): " + In(m_requestDir, L"runs.drq"));
    gate.Open();
    EXPECT_EQ(WaitForEnd(L"runs.drq"), eRequestStatus_Done);
    EXPECT_EQ(WaitForEnd(L"waits.drq"), eRequestStatus_Done);
    m_pServer.reset();
}

TEST_F(QueueLimit, ARefusedFileThatSomebodyHoldsIsMetAgain)
{
    m_files.FailCall(testsupport::eFileCall_Remove, 1, platform::eOsError_SharingViolation, 1,
                     In(m_requestDir, L"c.drq"));
    const platform::CScopedOs os(&m_files, nullptr);
    Run();
    SendAndWaitUntilQueued(L"a.drq");
    SendAndWaitUntilQueued(L"b.drq");
    ExpectRefused(L"c.drq");
    m_host.ExpectLogLine(L"Refused (");
    m_pServer.reset();
}

TEST_F(QueueLimit, ManyRefusalsAreOneLineOfTheLog)
{
    Run();
    SendAndWaitUntilQueued(L"a.drq");
    SendAndWaitUntilQueued(L"b.drq");
    for (int index = 0; index < 20; ++index)
        ExpectRefused(std::to_wstring(index) + L".drq");
    m_pServer->Stop(true);
    const auto lines = m_host.TakeLogLines();
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [](const auto& line) { return line.text.find(L"Refused (") != std::wstring::npos; }),
              1);
}
