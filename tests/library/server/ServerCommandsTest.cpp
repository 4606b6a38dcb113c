#include "server/ServerCommands.h"
#include "reports/StringCodes.h"
#include "server/RequestRefusals.h"
#include "tests/library/server/ListenerFixture.h"

#include "com/Guid.h"

using namespace std::chrono_literals;

namespace {

class ServerCommandsTest : public CListenerFixture {
protected:
    /// Sends a command and carries it out.
    void Command(eCommandType type, const std::wstring& subject)
    {
        SendCommand(L"c.command", type, subject);
        m_commands.HandleCommandFile(Sent(L"c.command"));
    }
    void CommandText(const std::string& text)
    {
        Write(Sent(L"c.command"), text);
        m_commands.HandleCommandFile(Sent(L"c.command"));
    }
    void ExpectDone() const
    {
        EXPECT_EQ(Status(L"c.command").status, eRequestStatus_Done);
        EXPECT_FALSE(HasFile(L"c.command"));
    }
    void ExpectFailed()
    {
        m_host.ExpectBox(L"Processing of command " + Sent(L"c.command") + L" failed");
        EXPECT_TRUE(HasFile(L"c.command"));
    }
    void StartRequest(const std::wstring& name)
    {
        Queue(name);
        TSRequestItem item;
        bool bLast = false;
        ASSERT_TRUE(m_requests.TakeRequest(item, bLast, [] {}));
    }

    CRequestRefusals m_refusals{m_settings, m_requests, m_statuses};
    CRequestTaker m_taker{m_settings, m_requests, m_statuses, m_refusals, m_bRunning, m_nTurns};
    CServerCommands m_commands{m_settings, m_requests, m_statuses, m_refusals,
                               m_taker,    m_registry, m_bRunning, m_nTurns};
};

TEST_F(ServerCommandsTest, ACancelRemovesWhatWaits)
{
    Queue(L"a.drq");
    Command(eCommandType_CancelRequest, L"a.drq");
    ExpectDone();
    EXPECT_FALSE(IsWaiting(L"a.drq"));
    EXPECT_FALSE(HasFile(L"a.drq"));
    EXPECT_FALSE(HasStatus(L"a.drq"));
}

TEST_F(ServerCommandsTest, ACancelMeansWhateverRunsWhenTheNameDoesNotWait)
{
    StartRequest(L"a.drq");
    Command(eCommandType_CancelRequest, L"other.drq");
    ExpectDone();
    EXPECT_TRUE(m_context.m_canceled);
}

TEST_F(ServerCommandsTest, ByNameACancelMeansThatRequestAloneAndTellsItsEnd)
{
    m_settings.m_options.cancelByName = true;
    StartRequest(L"a.drq");
    Queue(L"b.drq");
    Command(eCommandType_CancelRequest, L"b.drq");
    EXPECT_EQ(Status(L"b.drq").status, eRequestStatus_Canceled);
    Command(eCommandType_CancelRequest, L"other.drq");
    EXPECT_FALSE(m_context.m_canceled);
    Command(eCommandType_CancelRequest, L"a.drq");
    EXPECT_TRUE(m_context.m_canceled);
}

TEST_F(ServerCommandsTest, ACancelThatOutlivesTheServerTellsNoEndBeforeTheFileIsGone)
{
    testsupport::CFaultyFiles files;
    const platform::CScopedOs os(&files, nullptr);
    std::vector<std::int32_t> told;
    files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Remove && call.path == Queued(L"a.drq"))
            told.push_back(Status(L"a.drq").status);
    });
    for (const bool resume : {false, true}) {
        m_settings.m_options = {.syncing = false, .cancelByName = true, .resume = resume};
        Queue(L"a.drq");
        Command(eCommandType_CancelRequest, L"a.drq");
        EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_Canceled);
        EXPECT_FALSE(HasFile(L"a.drq"));
    }
    EXPECT_EQ(told, (std::vector<std::int32_t>{eRequestStatus_Canceled, eRequestStatus_ProcessingStarted}));
}

TEST_F(ServerCommandsTest, ASecondPauseLetsTheRequestRunNext)
{
    for (const wchar_t* name : {L"a.drq", L"b.drq"})
        Queue(name);
    Command(eCommandType_PauseRequest, L"b.drq");
    ExpectDone();
    EXPECT_TRUE(IsPaused(L"b.drq"));
    EXPECT_FALSE(HasStatus(L"b.drq"));
    Command(eCommandType_PauseRequest, L"b.drq");
    ExpectDone();
    TSRequestItem item;
    bool bLast = false;
    ASSERT_TRUE(m_requests.TakeRequest(item, bLast, [] {}));
    EXPECT_EQ(item.m_strFile, Queued(L"b.drq"));
}

TEST_F(ServerCommandsTest, APausedRequestSaysSoWhereTheHostWantsIt)
{
    m_settings.m_options.pausedStatus = true;
    Queue(L"a.drq");
    Command(eCommandType_PauseRequest, L"a.drq");
    EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_Paused);
    Command(eCommandType_PauseRequest, L"a.drq");
    EXPECT_FALSE(HasStatus(L"a.drq"));
    EXPECT_TRUE(IsWaiting(L"a.drq"));
}

TEST_F(ServerCommandsTest, WhatWasNotQueuedYetIsPausedToo)
{
    Send(L"a.drq");
    Command(eCommandType_PauseRequest, L"a.drq");
    ExpectDone();
    EXPECT_TRUE(IsPaused(L"a.drq"));
    EXPECT_TRUE(HasFile(L"a.drq"));
    EXPECT_FALSE(platform::PathExists(Sent(L"a.drq")));
}

TEST_F(ServerCommandsTest, WhatIsNotThereCannotBePaused)
{
    Command(eCommandType_PauseRequest, L"a.drq");
    ExpectFailed();
}

TEST_F(ServerCommandsTest, APauseBeyondTheLimitIsRefusedWithoutAFailure)
{
    m_settings.m_options.maxQueued = 1;
    for (const wchar_t* name : {L"a.drq", L"b.drq"})
        Send(name);
    ASSERT_TRUE(m_taker.AddRequestToQueue(Sent(L"a.drq")));
    Command(eCommandType_PauseRequest, L"b.drq");
    EXPECT_EQ(Status(L"c.command").status, eRequestStatus_ServerError);
    EXPECT_EQ(Status(L"c.command").comment, FormatText(TextOf(StringCodes::kTooManyWaiting), {L"1"}));
    m_host.ExpectLogLine(L"Refused (1 since the last such line): ");
    EXPECT_TRUE(platform::PathExists(Sent(L"b.drq")));
    EXPECT_FALSE(HasFile(L"c.command"));
}

TEST_F(ServerCommandsTest, AStopEndsTheWaitForWhoHoldsTheAnswerToARegistration)
{
    m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation, L"answer");
    m_clock.OnWait([this] { m_bRunning = m_clock.Yields() + m_clock.Sleeps() < 5; });
    {
        const platform::CScopedOs os(&m_files, &m_clock);
        Command(eCommandType_RegisterClient, L"answer");
    }
    EXPECT_FALSE(m_bRunning) << "without patience of the host's nothing else ends it";
    m_bRunning = true;
    EXPECT_TRUE(m_registry.All().empty());
}

TEST_F(ServerCommandsTest, TheHostsPatienceEndsTheWaitForWhoHoldsTheAnswerToARegistration)
{
    m_settings.m_options.patience = std::chrono::milliseconds(50);
    m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation, L"answer");
    const std::chrono::nanoseconds start = m_clock.Steady();
    {
        const platform::CScopedOs os(&m_files, &m_clock);
        Command(eCommandType_RegisterClient, L"answer");
    }
    EXPECT_GE(m_clock.Steady() - start, 50ms);
    EXPECT_LT(m_clock.Steady() - start, 200ms);
    EXPECT_TRUE(m_registry.All().empty());
    m_host.ExpectReport(863, platform::OsErrorText(platform::eOsError_SharingViolation));
}

TEST_F(ServerCommandsTest, AClientIsRegisteredAndUnregistered)
{
    Command(eCommandType_RegisterClient, L"answer");
    ExpectDone();
    const std::vector<GUID> clients = m_registry.All();
    ASSERT_EQ(clients.size(), 1U);
    EXPECT_TRUE(platform::PathExists(m_settings.m_paths.Output(L"answer")));
    Command(eCommandType_UnregisterClient, GuidToText(clients.front()));
    ExpectDone();
    EXPECT_TRUE(m_registry.All().empty());
}

TEST_F(ServerCommandsTest, AnAnswerCannotHaveANameOfTheServersOrOfARequest)
{
    Queue(L"waits");
    EXPECT_FALSE(m_commands.RegisterNewClient(L"a.drq", {}));
    EXPECT_FALSE(m_commands.RegisterNewClient(L"waits", {}));
    EXPECT_FALSE(m_commands.RegisterNewClient(L"../x", {}));
    m_host.ExpectLogLine(L"a.drq: the answer to a registration cannot have this name");
    EXPECT_TRUE(m_registry.All().empty());
}

TEST_F(ServerCommandsTest, ARegistrationBeyondTheLimitIsRefused)
{
    m_settings.m_options.maxClients = 1;
    Command(eCommandType_RegisterClient, L"first");
    Command(eCommandType_RegisterClient, L"second");
    EXPECT_EQ(Status(L"c.command").status, eRequestStatus_ServerError);
    EXPECT_EQ(m_registry.All().size(), 1U);
    m_host.ExpectLogLine(L"Refused (1 since the last such line): ");
}

TEST_F(ServerCommandsTest, TellsWhatWasAskedForAndWhatCameOfItWhenTheHostWantsIt)
{
    m_settings.m_options.tellStory = true;
    Queue(L"a.drq");
    Command(eCommandType_CancelRequest, L"a.drq");
    m_host.ExpectLogLine(L"Command: cancel a.drq: Done");
    CommandText("no document"); // without a box, which would fail the test
    m_host.ExpectLogLine(L"Command: cannot be read: ServerError: ");
    EXPECT_EQ(Status(L"c.command").status, eRequestStatus_ServerError);
}

TEST_F(ServerCommandsTest, TellsWhoIsRegisteredAndNoLonger)
{
    m_registry.SetTold(true);
    Command(eCommandType_RegisterClient, L"RegisterClient__1");
    ASSERT_EQ(m_registry.All().size(), 1U);
    const GUID client = m_registry.All().front();
    m_host.ExpectLogLine(L"The client " + GuidToText(client) + L" is registered");
    Command(eCommandType_UnregisterClient, GuidToText(client));
    m_host.ExpectLogLine(L"The client " + GuidToText(client) + L" is registered no longer");
}

TEST_F(ServerCommandsTest, AnUnknownCommandIsNotCarriedOut)
{
    CommandText("<Command Type='?'><RequestName>a</RequestName></Command>");
    ExpectFailed();
    EXPECT_EQ(Status(L"c.command").status, eRequestStatus_ProcessingStarted);
}

TEST_F(ServerCommandsTest, AHeldQueueStartsNothingAndItsCommandsGoOn)
{
    m_settings.m_options.operatorCommands = true;
    Command(CommandFile::kHoldQueue, L"Queue");
    ExpectDone();
    for (const wchar_t* name : {L"a.drq", L"b.drq"})
        Queue(name);
    TSRequestItem item;
    bool bLast = false;
    EXPECT_FALSE(m_requests.TakeRequest(item, bLast, [] {}));
    Command(eCommandType_CancelRequest, L"a.drq");
    ExpectDone();
    EXPECT_FALSE(HasFile(L"a.drq"));
    Command(eCommandType_PauseRequest, L"b.drq");
    ExpectDone();
    EXPECT_TRUE(IsPaused(L"b.drq"));
    Command(eCommandType_PauseRequest, L"b.drq");
    EXPECT_FALSE(m_requests.TakeRequest(item, bLast, [] {}));
    Command(CommandFile::kReleaseQueue, L"Queue");
    ExpectDone();
    EXPECT_TRUE(m_requests.TakeRequest(item, bLast, [] {}));
    EXPECT_EQ(item.m_strFile, Queued(L"b.drq"));
}

TEST_F(ServerCommandsTest, WhatOthersAskOfTheQueueIsRefusedWithoutAFailure)
{
    m_settings.m_options.operatorCommands = true;
    SendCommand(L"c.command", CommandFile::kHoldQueue, L"Queue");
    const CString sent = Sent(L"c.command");
    m_settings.m_paths.m_strRequestDir = m_dir / L"none"; // of which nobody knows who may write there
    m_commands.HandleCommandFile(sent);
    EXPECT_EQ(Status(L"c.command").status, eRequestStatus_ServerError);
    EXPECT_EQ(Status(L"c.command").comment, TextOf(StringCodes::kOperatorsOnly));
    m_host.ExpectLogLine(L"Refused (1 since the last such line): ");
    EXPECT_FALSE(HasFile(L"c.command"));
}

TEST_F(ServerCommandsTest, WhoseHostWantsNoneTheWordsOfAnOperatorAreUnknownTo)
{
    m_settings.m_options.tellStory = true;
    CommandText("<Command Type='?'><RequestName>Queue</RequestName></Command>");
    const CZelProcessorRequestStatusFile::SContent unknown = Status(L"c.command");
    m_host.ExpectLogLine(L"Command: of an unknown type, for Queue: ");
    ASSERT_TRUE(platform::Succeeded(platform::Files().Remove(Queued(L"c.command"))));
    for (const eCommandType type : CommandFile::kOperatorCommands) {
        Command(type, L"Queue");
        m_host.ExpectLogLine(L"Command: of an unknown type, for Queue: ");
        EXPECT_EQ(Status(L"c.command").status, unknown.status);
        EXPECT_EQ(Status(L"c.command").comment, unknown.comment);
        EXPECT_TRUE(HasFile(L"c.command"));
        ASSERT_TRUE(platform::Succeeded(platform::Files().Remove(Queued(L"c.command"))));
    }
    EXPECT_FALSE(platform::PathExists(m_settings.m_paths.InOwnFolder({})));
}

TEST_F(ServerCommandsTest, WhatIsNoXmlAndWhatLacksANameIsToldInTheStatus)
{
    CommandText("no xml");
    ExpectFailed();
    EXPECT_EQ(Status(L"c.command").status, eRequestStatus_ServerError);
    EXPECT_NE(Status(L"c.command").comment.find(Queued(L"c.command")), std::wstring::npos);
    ASSERT_TRUE(platform::Succeeded(platform::Files().Remove(Queued(L"c.command"))));
    CommandText("<Command Type='CancelRequest'/>");
    ExpectFailed();
    EXPECT_EQ(Status(L"c.command").comment, TextOf(StringCodes::kInvalidCommandFile));
}

TEST_F(ServerCommandsTest, ACommandThatStaysOpenFailsAfterFiveSeconds)
{
    m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation, Queued(L"c.command"));
    const platform::CScopedOs os(&m_files, &m_clock);
    const std::chrono::nanoseconds start = m_clock.Steady();
    Command(eCommandType_CancelRequest, L"a.drq");
    ExpectFailed();
    EXPECT_GE(m_clock.Steady() - start, 5s);
    EXPECT_LT(m_clock.Steady() - start, 6s);
    EXPECT_GT(m_nTurns, 40U);
    EXPECT_NE(Status(L"c.command").comment.find(L"Cause 1:"), std::wstring::npos);
}

TEST_F(ServerCommandsTest, WithPatienceAHeldCommandIsLeftForTheNextLookWithoutAWord)
{
    m_settings.m_options.patience = std::chrono::milliseconds(50);
    m_files.FailAlways(testsupport::eFileCall_Move, platform::eOsError_SharingViolation, L"c.command");
    const platform::CScopedOs os(&m_files, &m_clock);
    m_taker.StartLook();
    Command(eCommandType_CancelRequest, L"a.drq");
    EXPECT_TRUE(platform::PathExists(Sent(L"c.command")));
    EXPECT_FALSE(HasStatus(L"c.command"));
}

TEST_F(ServerCommandsTest, AServerThatStopsLeavesTheCommandForTheNext)
{
    m_files.FailAlways(testsupport::eFileCall_Move, platform::eOsError_AccessDenied, L"c.command");
    const platform::CScopedOs os(&m_files, nullptr);
    m_bRunning = false;
    Command(eCommandType_CancelRequest, L"a.drq");
    EXPECT_TRUE(platform::PathExists(Sent(L"c.command")));
    EXPECT_EQ(Status(L"c.command").status, eRequestStatus_ProcessingStarted);
}

} // namespace
