#include "tests/library/server/CommandsFixture.h"

#include "framework/Services.h"

namespace {

using Commands = CCommandsFixture;

} // namespace

TEST_F(Commands, TheTypeCountsInAnyLetterCase)
{
    RunWithBusyExecutive();
    SendAndWaitUntilQueued(L"b.drq");
    SendCommandFile(Xml("cancelREQUEST", "b.drq"));
    EXPECT_TRUE(WaitUntil([&] { return m_client.GetStatus(L"x.command", nullptr) == eRequestStatus_Done; }));
    EXPECT_FALSE(Access().IsRequestInQueue(L"b.drq"));
    m_gate.Open();
}

TEST_F(Commands, AnUnknownTypeStaysInTheQueueDirectory)
{
    Run();
    ExpectFailure(Xml("Restart", "a.drq"), eRequestStatus_ProcessingStarted,
                  RootApp_RSC_CStr(127, "IDS_PROCESSING_STARTED"));
}

TEST_F(Commands, WhatIsMissingMakesTheFormatInvalid)
{
    Run();
    for (const char* xml :
         {"<Order Type='CancelRequest'><RequestName>a</RequestName></Order>",
          "<Command><RequestName>a</RequestName></Command>", "<Command Type='CancelRequest'/>",
          "<Command Type='PauseRequest'/>", "<Command Type='RegisterClient'/>", "<Command Type='UnregisterClient'/>",
          "<Command Type='UnregisterClient'><RequestName/></Command>", "<Command Type='?'/>"}) {
        ExpectFailure(xml, eRequestStatus_ServerError, RootApp_RSC_CStr(130, "IDS_INVALID_FORMAT_OF_COMMAND_FILE"));
        ASSERT_TRUE(platform::Succeeded(platform::Files().Remove(Queued(L"x.command"))));
    }
}

TEST_F(Commands, BrokenXmlIsAnswered)
{
    Run();
    const std::string whole = Xml("CancelRequest", "a.drq");
    for (const std::string& xml : {std::string(), std::string("no xml"), whole.substr(0, whole.size() / 2)}) {
        SendCommandFile(xml);
        m_host.ExpectBox(L"Processing of command " + In(m_requestDir, L"x.command") + L" failed");
        EXPECT_EQ(m_client.GetStatus(L"x.command", &m_additional), eRequestStatus_ServerError);
        const std::wstring comment = m_additional.GetProgressComment();
        EXPECT_TRUE(comment.starts_with(L"The command file is not well-formed XML: \n"));
        EXPECT_TRUE(comment.ends_with(L"\n" + Queued(L"x.command")));
        ASSERT_TRUE(platform::Succeeded(platform::Files().Remove(Queued(L"x.command"))));
    }
}

TEST_F(Commands, ACommandWhoseNameIsTakenInTheQueueIsAnswered)
{
    Run();
    Write(Queued(L"x.command"));
    SendCommandFile(Xml("CancelRequest", "a.drq"));
    m_host.ExpectBox(L"Processing of command " + In(m_requestDir, L"x.command") + L" failed");
    EXPECT_EQ(m_client.GetStatus(L"x.command", &m_additional), eRequestStatus_ServerError);
    EXPECT_EQ(m_additional.GetProgressComment(), FormatText(RootApp_RSC_CStr(128, "IDS_UNABLE_MOVE_FILE_INTO_QUEUE"),
                                                            {In(m_requestDir, L"x.command"), Queued(L"x.command")}));
    EXPECT_TRUE(platform::PathExists(In(m_requestDir, L"x.command"))) << "it is met again";
}

TEST_F(Commands, AFileThatStaysOpenForMoreThanFiveSecondsIsGivenUp)
{
    testsupport::CFaultyFiles& files = m_files;
    testsupport::CManualClock& clock = m_clock;
    const platform::CScopedOs os(&files, &clock);
    Run();
    files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation, Queued(L"x.command"));
    const unsigned before = clock.Sleeps();
    ExpectFailure(
        Xml("CancelRequest", "a.drq"), eRequestStatus_ServerError,
        FormatText(RootApp_RSC_CStr(133, "IDS_UNABLE_OPEN_FILE_IN_QUEUE_FORREADING"), {Queued(L"x.command")}) +
            L"\nCause 1:\n" + platform::OsErrorText(platform::eOsError_SharingViolation));
    EXPECT_GE(clock.Sleeps() - before, 50U) << "a look every 100 ms";
}

TEST_F(Commands, AFileThatStaysOpenCostsNoMoreThanTheHostsPatience)
{
    Make({.syncing = false, .patience = std::chrono::milliseconds(50)});
    const platform::CScopedOs os(&m_files, &m_clock);
    Run();
    m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation, Queued(L"x.command"));
    const std::chrono::nanoseconds before = m_clock.Steady();
    const unsigned sleeps = m_clock.Sleeps();
    ExpectFailure(
        Xml("CancelRequest", "a.drq"), eRequestStatus_ServerError,
        FormatText(RootApp_RSC_CStr(133, "IDS_UNABLE_OPEN_FILE_IN_QUEUE_FORREADING"), {Queued(L"x.command")}) +
            L"\nCause 1:\n" + platform::OsErrorText(platform::eOsError_SharingViolation));
    EXPECT_LT(m_clock.Steady() - before, std::chrono::milliseconds(500));
    EXPECT_GE(m_clock.Sleeps() - sleeps, 10U) << "it is tried more than once";
}

TEST_F(Commands, AStopWhileACommandIsHeldIsNoFailure)
{
    const platform::CScopedOs os(&m_files, nullptr);
    Run();
    platform::CManualResetEvent tried;
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Open && call.path == Queued(L"x.command"))
            tried.Set();
    });
    m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation, Queued(L"x.command"));
    SendCommandFile(Xml("CancelRequest", "a.drq"));
    ASSERT_TRUE(tried.WaitFor(kPatience));
    m_pServer.reset();
    m_files.StopFailing();
    EXPECT_EQ(m_client.GetStatus(L"x.command", nullptr), eRequestStatus_ProcessingStarted);
}

TEST_F(Commands, NamesThatLeaveTheDirectoriesTouchNothing)
{
    Run();
    Write(m_dir / L"outside.drq");
    for (const char* type : {"CancelRequest", "RegisterClient", "UnregisterClient"}) {
        SendCommandFile(Xml(type, "../outside.drq"));
        EXPECT_TRUE(WaitUntil([&] { return m_client.GetStatus(L"x.command", nullptr) == eRequestStatus_Done; }))
            << type;
        ASSERT_TRUE(platform::Succeeded(platform::Files().Remove(In(m_outputDir, L"x.command.status"))));
    }
    ExpectFailure(Xml("PauseRequest", "../outside.drq"), eRequestStatus_ProcessingStarted,
                  RootApp_RSC_CStr(127, "IDS_PROCESSING_STARTED"));
    EXPECT_EQ(Read(m_dir / L"outside.drq"), "<Request/>");
    EXPECT_TRUE(Access().Clients().empty());
}
