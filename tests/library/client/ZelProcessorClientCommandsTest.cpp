#include "tests/support/ServerKit.h"

#include "platform/Text.h"
#include "tests/support/ManualClock.h"

#include <set>

namespace {

/// The server is made, so that its directories exist, but does not run unless the test says so.
class ClientCommands : public CServerFixture {
protected:
    [[nodiscard]] std::wstring Create(eCommandType type, const std::wstring& path)
    {
        return SClientTestAccess{m_client}.CreateCommandFile(type, path);
    }
    /// The only file in the request directory.
    [[nodiscard]] std::wstring SentCommand() const
    {
        const auto names = FilesIn(m_requestDir);
        EXPECT_EQ(names.size(), 1U);
        return names.empty() ? std::wstring() : names.front();
    }
};

} // namespace

TEST_F(ClientCommands, ACommandFileNamesWordAndRequest)
{
    const std::wstring path = Create(eCommandType_CancelRequest, In(In(m_dir / L"any", L"where"), L"abc.drq"));
    EXPECT_TRUE(path.starts_with(In(m_clientDir, L"ZEL_PROCESSOR_COMMAND{")));
    EXPECT_TRUE(path.ends_with(L".command"));
    const std::string text = Read(path);
    EXPECT_TRUE(text.starts_with("<?xml ")) << text;
    EXPECT_NE(text.find("<Command Type=\"CancelRequest\"><RequestName>abc.drq</RequestName></Command>"),
              std::string::npos)
        << text;
}

TEST_F(ClientCommands, EveryTypeHasItsWordAndOthersMakeNoFile)
{
    for (const auto& [type, word] :
         {std::pair(eCommandType_CancelRequest, "CancelRequest"), std::pair(eCommandType_PauseRequest, "PauseRequest"),
          std::pair(eCommandType_RegisterClient, "RegisterClient"),
          std::pair(eCommandType_UnregisterClient, "UnregisterClient"), std::pair(CommandFile::kHoldQueue, "HoldQueue"),
          std::pair(CommandFile::kReleaseQueue, "ReleaseQueue"), std::pair(CommandFile::kMoveRequest, "MoveRequest"),
          std::pair(CommandFile::kDrainServer, "DrainServer"), std::pair(CommandFile::kRetryFailed, "RetryFailed"),
          std::pair(CommandFile::kDiscardFailed, "DiscardFailed")})
        EXPECT_NE(Read(Create(type, L"a")).find(std::string("Type=\"") + word + "\""), std::string::npos);
    const std::size_t files = FilesIn(m_clientDir).size();
    EXPECT_TRUE(Create(eCommandType_NotInitialized, L"a").empty());
    EXPECT_TRUE(Create(static_cast<eCommandType>(4), L"a").empty());
    EXPECT_EQ(FilesIn(m_clientDir).size(), files);
}

TEST_F(ClientCommands, TwoInARowDifferInTheCounterOnly)
{
    const std::wstring first = Create(eCommandType_CancelRequest, L"a");
    const std::wstring second = Create(eCommandType_CancelRequest, L"a");
    EXPECT_NE(first, second);
    EXPECT_EQ(first.substr(0, first.rfind(L'_')), second.substr(0, second.rfind(L'_')));
}

TEST_F(ClientCommands, TwoThreadsInTheSameInstantMakeTwoCommands)
{
    std::vector<std::wstring> paths(16);
    std::vector<platform::CThread> threads(paths.size());
    for (std::size_t index = 0; index < threads.size(); ++index) {
        ASSERT_TRUE(threads[index].Start([&, index] {
            CoInitializeSYS(nullptr);
            paths[index] = Create(eCommandType_PauseRequest, L"a.drq");
            CoUninitializeSYS();
            return 0U;
        }));
    }
    for (platform::CThread& thread : threads)
        EXPECT_TRUE(thread.Join());
    EXPECT_EQ(std::set<std::wstring>(paths.begin(), paths.end()).size(), paths.size());
    EXPECT_EQ(FilesIn(m_clientDir).size(), paths.size());
}

TEST_F(ClientCommands, WithoutAClientDirectoryNothingIsSent)
{
    m_client.Init(m_requestDir, m_outputDir, In(m_clientDir, L"none"));
    EXPECT_EQ(m_client.CancelRequest(L"a.drq"), eRequestStatus_ClientError);
    m_host.ExpectReport(270, L"Unable to save pDomDocument into file\n" +
                                 In(In(m_clientDir, L"none"), L"ZEL_PROCESSOR_COMMAND"));
    m_host.ExpectReport(292, L"CreateCommandFile failed ! Command file isn't created");
}

TEST_F(ClientCommands, ACommandThatCanNotBeHandedOverIsReported)
{
    m_client.Init(In(m_requestDir, L"none"), m_outputDir, m_clientDir);
    EXPECT_EQ(m_client.PauseRequest(L"a.drq"), eRequestStatus_ClientError);
    m_host.ExpectReport(200, L"MoveFileWhenFree failed!");
    m_host.ExpectReport(305, L"SendMessageToServer(eCommType=eCommandType_PauseRequest) != eRequestStatus_Sent, "
                             L"eStatus=eRequestStatus_ClientError\n  a.drq\n  " +
                                 In(m_clientDir, L"ZEL_PROCESSOR_COMMAND"));
}

TEST_F(ClientCommands, AServerThatNeverAnswersIsATimeOutAfterTenSeconds)
{
    testsupport::CManualClock clock;
    const platform::CScopedOs os(nullptr, &clock);
    const auto start = clock.Steady();
    EXPECT_EQ(m_client.CancelRequest(L"a.drq"), eRequestStatus_ServerTimeout);
    EXPECT_GT(clock.Steady() - start, std::chrono::seconds(10));
    EXPECT_LT(clock.Steady() - start, std::chrono::seconds(11));
    EXPECT_NEAR(clock.Sleeps(), 1001, 2);
    m_host.ExpectReport(345, L"SendMessageToServer(eCommType=eCommandType_CancelRequest) TIMEOUT , "
                             L"eStatus=eRequestStatus_Waiting ");
    EXPECT_FALSE(SentCommand().empty()) << "the file belongs to the server";
}

TEST_F(ClientCommands, TheTimeOfACommandCanBeSet)
{
    const platform::CScopedOs os(nullptr, &m_clock);
    m_client.SetCommandTimeout(std::chrono::milliseconds(500));
    const auto start = m_clock.Steady();
    EXPECT_EQ(m_client.CancelRequest(L"a.drq"), eRequestStatus_ServerTimeout);
    EXPECT_GT(m_clock.Steady() - start, std::chrono::milliseconds(500));
    EXPECT_LT(m_clock.Steady() - start, std::chrono::milliseconds(600));
    m_host.ExpectReport(345, L"SendMessageToServer(eCommType=eCommandType_CancelRequest) TIMEOUT");
}

TEST_F(ClientCommands, AStatusThatIsKeptOpenDoesNotOutlastTheTimeOfACommand)
{
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call != testsupport::eFileCall_Move)
            return;
        Write(In(m_outputDir, platform::FileNameOf(call.path) + L".status"), {});
        m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation, L".command.status");
    });
    const platform::CScopedOs os(&m_files, &m_clock);
    const auto start = m_clock.Steady();
    EXPECT_EQ(m_client.CancelRequest(L"a.drq"), eRequestStatus_ServerTimeout);
    EXPECT_LT(m_clock.Steady() - start, std::chrono::seconds(11));
    m_host.ExpectReport(345, L"SendMessageToServer(eCommType=eCommandType_CancelRequest) TIMEOUT");
}

TEST_F(ClientCommands, WhoTakesLongToLookLeavesTheServerTimeToAnswer)
{
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Move)
            Write(In(m_outputDir, platform::FileNameOf(call.path) + L".status"), platform::ToUtf16Le(L"6\r\n"));
        if (call.call == testsupport::eFileCall_Open)
            m_clock.Advance(std::chrono::milliseconds(30));
    });
    const platform::CScopedOs os(&m_files, &m_clock);
    EXPECT_EQ(m_client.CancelRequest(L"a.drq"), eRequestStatus_ServerTimeout);
    EXPECT_NEAR(m_clock.Sleeps(), 10'000 / (30 + 10), 2) << "unless it is told to";
    m_host.ExpectReport(345, L"SendMessageToServer(eCommType=eCommandType_CancelRequest) TIMEOUT");
    const unsigned before = m_clock.Sleeps();
    m_client.SetYields(true);
    EXPECT_EQ(m_client.CancelRequest(L"a.drq"), eRequestStatus_ServerTimeout);
    EXPECT_NEAR(m_clock.Sleeps() - before, 10'000 / (30 + 90), 2);
    m_host.ExpectReport(345, L"SendMessageToServer(eCommType=eCommandType_CancelRequest) TIMEOUT");
}

TEST_F(ClientCommands, AClientThatIsToStopDoesNotWaitForTheAnswer)
{
    const platform::CScopedOs os(nullptr, &m_clock);
    m_client.SetGoOn([&] { return m_clock.Sleeps() < 3; });
    const auto start = m_clock.Steady();
    EXPECT_EQ(m_client.CancelRequest(L"a.drq"), eRequestStatus_NotIntialized);
    EXPECT_LT(m_clock.Steady() - start, std::chrono::seconds(1));
    EXPECT_FALSE(SentCommand().empty()) << "the file belongs to the server";
}

TEST_F(ClientCommands, AnAnswerThatIsThereCountsForAClientThatIsToStopToo)
{
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Move)
            Write(In(m_outputDir, platform::FileNameOf(call.path) + L".status"), platform::ToUtf16Le(L"13\r\n"));
    });
    const platform::CScopedOs os(&m_files, &m_clock);
    m_client.SetGoOn([] { return false; });
    EXPECT_EQ(m_client.PauseRequest(L"a.drq"), eRequestStatus_Done);
}

TEST_F(ClientCommands, ARegistrationThatIsNotWaitedForIsNone)
{
    const platform::CScopedOs os(nullptr, &m_clock);
    m_client.SetGoOn([] { return false; });
    EXPECT_FALSE(m_client.ListenDsEvents());
    m_host.ExpectReport(520, L"SendCommand(eCommandType_RegisterClient) != eRequestStatus_Done, "
                             L"statusSendCommand=eRequestStatus_NotIntialized");
    EXPECT_EQ(m_client.GetDsEventsFileFullPath(), L"");
}

TEST_F(ClientCommands, AClientThatIsToStopStillSaysItsFarewell)
{
    Run();
    ASSERT_TRUE(m_client.ListenDsEvents());
    m_client.SetGoOn([] { return false; });
    EXPECT_TRUE(m_client.StopListeningDsEvents());
    EXPECT_TRUE(Access().Clients().empty());
}

TEST_F(ClientCommands, AStatusThatGoesToDoneIsTakenAway)
{
    testsupport::CManualClock clock;
    const platform::CScopedOs os(nullptr, &clock);
    std::wstring status;
    clock.OnWait([&] {
        if (clock.Sleeps() == 3) {
            status = In(m_outputDir, SentCommand() + L".status");
            Write(status, platform::ToUtf16Le(L"13\r\n"));
        }
    });
    EXPECT_EQ(m_client.CancelRequest(L"a.drq"), eRequestStatus_Done);
    EXPECT_FALSE(status.empty());
    EXPECT_FALSE(platform::PathExists(status));
}

TEST_F(ClientCommands, AnErrorOfTheServerIsReportedAndReturned)
{
    testsupport::CManualClock clock;
    const platform::CScopedOs os(nullptr, &clock);
    clock.OnWait([&] {
        if (clock.Sleeps() == 1)
            Write(In(m_outputDir, SentCommand() + L".status"),
                  platform::ToUtf16Le(L"1\r\nProgressPerc=-1\r\nProgressComment=no way\r\n"));
    });
    EXPECT_EQ(m_client.CancelRequest(L"a.drq"), eRequestStatus_ServerError);
    m_host.ExpectReport(327, L"SendMessageToServer(eCommType=eCommandType_CancelRequest) != eRequestStatus_Done, "
                             L"eStatus=eRequestStatus_ServerError no way\n  " +
                                 In(m_clientDir, L"ZEL_PROCESSOR_COMMAND"));
    EXPECT_TRUE(FilesIn(m_outputDir).empty());
}

TEST_F(ClientCommands, TruncatedAndCorruptedCommandFilesEndWithAnAnswer)
{
    Run();
    const std::string whole = Read(Create(eCommandType_RegisterClient, L"name"));
    int sent = 0;
    const auto tryOut = [&](const std::string& bytes) {
        const std::wstring name = std::to_wstring(++sent) + L".command";
        Write(In(m_clientDir, name), bytes);
        ASSERT_EQ(m_client.SendRequest(In(m_clientDir, name)), eRequestStatus_Sent);
        EXPECT_TRUE(WaitUntil([&] {
            const auto boxes = m_host.TakeBoxes();
            return m_client.GetStatus(name, nullptr) == eRequestStatus_Done ||
                   (!boxes.empty() && boxes.front().text.find(In(m_requestDir, name)) != std::wstring::npos);
        })) << sent;
    };
    for (std::size_t length = 0; length < whole.size(); length += 3)
        tryOut(whole.substr(0, length));
    for (std::size_t at = 0; at < whole.size(); at += 5) {
        std::string flipped = whole;
        flipped[at] = static_cast<char>(flipped[at] ^ (1 << (at % 8)));
        tryOut(flipped);
    }
    m_pServer.reset();
    static_cast<void>(m_host.TakeBoxes());
}

TEST_F(ClientCommands, AnUntakenCommandStaysForTheNextServerUnlessItIsToBeWithdrawn)
{
    for (const bool withdraws : {false, true}) {
        testsupport::CManualClock clock;
        const platform::CScopedOs os(nullptr, &clock);
        m_client.SetWithdrawsCommands(withdraws);
        EXPECT_EQ(m_client.CancelRequest(L"a.drq"), eRequestStatus_ServerTimeout);
        m_host.ExpectReport(345, L"SendMessageToServer(eCommType=eCommandType_CancelRequest) TIMEOUT");
        EXPECT_EQ(FilesIn(m_requestDir).empty(), withdraws);
        EXPECT_EQ(m_client.IsCommandWithdrawn(), withdraws);
        for (const std::wstring& name : FilesIn(m_requestDir))
            EXPECT_EQ(platform::Files().Remove(In(m_requestDir, name)), platform::eOsError_None);
    }
}

TEST_F(ClientCommands, ACommandThatIsInterruptedIsWithdrawnToo)
{
    m_client.SetWithdrawsCommands(true);
    m_client.SetGoOn([] { return false; });
    EXPECT_EQ(m_client.PauseRequest(L"a.drq"), eRequestStatus_NotIntialized);
    EXPECT_TRUE(FilesIn(m_requestDir).empty());
    EXPECT_TRUE(m_client.IsCommandWithdrawn());
}

TEST_F(ClientCommands, WhatAServerHasTakenIsNotWithdrawn)
{
    m_client.SetWithdrawsCommands(true);
    m_client.SetGoOn([this] {
        for (const std::wstring& name : FilesIn(m_requestDir))
            EXPECT_EQ(platform::Files().Remove(In(m_requestDir, name)), platform::eOsError_None);
        return false;
    });
    EXPECT_EQ(m_client.CancelRequest(L"a.drq"), eRequestStatus_NotIntialized);
    EXPECT_FALSE(m_client.IsCommandWithdrawn());
}

TEST_F(ClientCommands, AnAnsweredCommandIsNotWithdrawn)
{
    m_client.SetWithdrawsCommands(true);
    m_client.SetGoOn([] { return false; });
    static_cast<void>(m_client.CancelRequest(L"a.drq"));
    m_client.SetGoOn({});
    Run();
    EXPECT_EQ(m_client.CancelRequest(L"a.drq"), eRequestStatus_Done);
    EXPECT_FALSE(m_client.IsCommandWithdrawn());
}
