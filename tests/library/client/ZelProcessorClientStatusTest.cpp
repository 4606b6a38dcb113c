#include "tests/support/ServerKit.h"

#include "framework/Services.h"
#include "platform/Text.h"
#include "protocol/ZelProcessorProgressStatusFile.h"

#include <filesystem>

namespace {

/// The server is made, so that its directories exist, but never runs: the test writes what a server would.
class ClientStatus : public CServerFixture {
protected:
    [[nodiscard]] std::wstring StatusPath() const { return In(m_outputDir, L"x.drq.status"); }
    [[nodiscard]] CZelProcessorProgressStatusFile StatusFile() const { return {L"ZelProcessor", StatusPath()}; }
    [[nodiscard]] long Progress() const
    {
        long progress = 0;
        m_hasProgress = m_additional.GetProgress(progress);
        return progress;
    }
    mutable int m_hasProgress = -1;
};

} // namespace

TEST_F(ClientStatus, AnUnknownRequestIsNotRequested)
{
    EXPECT_EQ(m_client.GetStatus(L"x.drq", &m_additional), eRequestStatus_NotRequested);
    EXPECT_EQ(m_additional.GetStatus(), eRequestStatus_NotRequested);
    EXPECT_EQ(m_additional.GetProgressComment(), RootApp_RSC_CStr(124, "IDS_NOT_REQUESTED"));
}

TEST_F(ClientStatus, AStatusThatMakesNoSenseIsReadAgainByAClientThatChecks)
{
    const platform::CScopedOs os(nullptr, &m_clock);
    Write(StatusPath(), "");
    EXPECT_EQ(m_client.GetStatus(L"x.drq", &m_additional), eRequestStatus_ClientError) << "as it is, by any other";
    EXPECT_EQ(m_clock.Sleeps(), 0U);
    m_client.SetCheckedWatch(true);
    int naps = 0;
    m_clock.OnWait([&] {
        if (++naps == 3)
            Write(StatusPath(), platform::ToUtf16Le(L"13\r\n"));
    });
    EXPECT_EQ(m_client.GetStatus(L"x.drq", &m_additional), eRequestStatus_Done);
    Write(StatusPath(), "");
    const std::chrono::nanoseconds start = m_clock.Steady();
    EXPECT_EQ(m_client.GetStatus(L"x.drq", &m_additional), eRequestStatus_ClientError);
    EXPECT_LE(m_clock.Steady() - start, std::chrono::milliseconds(2100)) << "it has an end";
    Write(In(m_requestDir, L"x.drq"));
    EXPECT_EQ(m_client.GetStatus(L"x.drq", &m_additional), eRequestStatus_Waiting) << "the server puts it right";
    EXPECT_TRUE(platform::Succeeded(platform::Files().Remove(In(m_requestDir, L"x.drq"))));
    m_client.SetGoOn([] { return false; });
    const unsigned before = m_clock.Sleeps();
    EXPECT_EQ(m_client.GetStatus(L"x.drq", &m_additional), eRequestStatus_ClientError);
    EXPECT_EQ(m_clock.Sleeps(), before) << "or is ended";
}

TEST_F(ClientStatus, AStatusFileWinsOverTheQueueAndTheQueueOverTheRequestDirectory)
{
    Write(In(m_requestDir, L"x.drq"));
    EXPECT_EQ(m_client.GetStatus(L"x.drq", &m_additional), eRequestStatus_Waiting);
    EXPECT_EQ(m_additional.GetProgressComment(), RootApp_RSC_CStr(123, "IDS_WAITING_TO_RECEIVE_REQ"));
    Write(Queued(L"x.drq"));
    EXPECT_EQ(m_client.GetStatus(L"x.drq", &m_additional), eRequestStatus_Waiting);
    EXPECT_EQ(m_additional.GetProgressComment(), RootApp_RSC_CStr(122, "IDS_WAITING_IN_QUEUE"));
    StatusFile().SetStatusAndComment(eRequestStatus_Parsing, L"reading");
    EXPECT_EQ(m_client.GetStatus(L"x.drq", &m_additional), eRequestStatus_Parsing);
    EXPECT_EQ(m_additional.GetProgressComment(), L"reading");
}

TEST_F(ClientStatus, GivesStatusPercentCommentAndTimes)
{
    auto file = StatusFile();
    file.SetStatusAndComment(eRequestStatus_Calculating, L"a=b\r\nc");
    file.SetPos(30);
    EXPECT_EQ(m_client.GetStatus(In(m_clientDir, L"x.drq"), &m_additional), eRequestStatus_Calculating);
    EXPECT_EQ(m_additional.GetStatus(), eRequestStatus_Calculating);
    EXPECT_EQ(Progress(), 30);
    EXPECT_EQ(m_hasProgress, 1);
    EXPECT_EQ(m_additional.GetProgressComment(), L"a=b\r\nc");
    CTime created;
    CTime modified;
    EXPECT_EQ(m_additional.GetTimeCreated(created), 1);
    EXPECT_EQ(m_additional.GetTileModifyed(modified), 1);
    const std::int64_t now = platform::Clock().UtcSeconds();
    EXPECT_LE(created.GetTime(), modified.GetTime());
    EXPECT_NEAR(static_cast<double>(modified.GetTime()), static_cast<double>(now), 60.0);
}

TEST_F(ClientStatus, WithoutARecordTheStatusIsTheSame)
{
    const auto expectSame = [&](eZelProcRequestStatus status) {
        EXPECT_EQ(m_client.GetStatus(L"x.drq", &m_additional), status);
        EXPECT_EQ(m_additional.GetStatus(), status);
        EXPECT_EQ(m_client.GetStatus(L"x.drq", nullptr), status);
    };
    expectSame(eRequestStatus_NotRequested);
    Write(In(m_requestDir, L"x.drq"));
    expectSame(eRequestStatus_Waiting);
    Write(Queued(L"x.drq"));
    expectSame(eRequestStatus_Waiting);
    for (int status = eRequestStatus_ClientError; status < eRequestStatus_Last; ++status) {
        StatusFile().SetStatusAndComment(static_cast<eZelProcRequestStatus>(status), L"x");
        expectSame(static_cast<eZelProcRequestStatus>(status));
    }
    Write(StatusPath(), {});
    expectSame(eRequestStatus_ClientError);
}

TEST_F(ClientStatus, AFileWithoutPercentLeavesProgressOut)
{
    Write(StatusPath(), platform::ToUtf16Le(L"13\r\n"));
    EXPECT_EQ(m_client.GetStatus(L"x.drq", &m_additional), eRequestStatus_Done);
    EXPECT_EQ(Progress(), -1);
    EXPECT_EQ(m_hasProgress, 0);
    EXPECT_EQ(m_additional.GetProgressComment(), L"");
}

TEST_F(ClientStatus, AnEmptyFileIsAClientErrorWithItsText)
{
    Write(StatusPath(), {});
    EXPECT_EQ(m_client.GetStatus(L"x.drq", &m_additional), eRequestStatus_ClientError);
    EXPECT_EQ(m_additional.GetProgressComment(), RootApp_RSC_CStr(126, "IDS_CLIENT_ERR_UNABLE_READ_STATUS"));
}

TEST_F(ClientStatus, AFileThatCanNotBeOpenedIsAClientErrorAfterAMessage)
{
    StatusFile().SetStatusAndComment(eRequestStatus_Done, L"x");
    testsupport::CFaultyFiles& files = m_files;
    files.FailCall(testsupport::eFileCall_Open, 1, platform::eOsError_AccessDenied);
    const platform::CScopedOs os(&files, nullptr);
    EXPECT_EQ(m_client.GetStatus(L"x.drq", &m_additional), eRequestStatus_ClientError);
    EXPECT_EQ(m_additional.GetProgressComment(), RootApp_RSC_CStr(125, "IDS_CLIENT_ERR_UNABLE_OPEN_STATUS_FILE"));
    const auto boxes = m_host.TakeBoxes();
    ASSERT_EQ(boxes.size(), 1U);
    EXPECT_EQ(boxes[0].text, L"CZelProcessorClient::GetStatus : opening of the file '" + StatusPath() + L"' failed");
    EXPECT_EQ(boxes[0].style, 16U);
}

TEST_F(ClientStatus, ABusyFileIsWaitedFor)
{
    StatusFile().SetStatusAndComment(eRequestStatus_Done, L"x");
    testsupport::CFaultyFiles& files = m_files;
    files.FailCall(testsupport::eFileCall_Open, 1, platform::eOsError_SharingViolation, 100);
    const platform::CScopedOs os(&files, nullptr);
    EXPECT_EQ(m_client.GetStatus(L"x.drq", nullptr), eRequestStatus_Done);
    EXPECT_EQ(files.Count(testsupport::eFileCall_Open), 101U);
}

TEST_F(ClientStatus, AFileThatIsOpenForLongIsWaitedForUntilTheCallerWantsNoMore)
{
    StatusFile().SetStatusAndComment(eRequestStatus_Done, L"x");
    Write(In(m_outputDir, L"x.drq"), "<Response/>");
    Write(In(m_clientDir, L"y.drq"));
    m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation, L".status");
    m_files.FailAlways(testsupport::eFileCall_Move, platform::eOsError_SharingViolation);
    const platform::CScopedOs os(&m_files, &m_clock);
    int asked = 0;
    m_client.SetGoOn([&asked] { return ++asked % 5 != 0; });
    EXPECT_EQ(m_client.GetStatus(L"x.drq", &m_additional), eRequestStatus_NotIntialized);
    EXPECT_EQ(m_additional.GetStatus(), eRequestStatus_NotIntialized);
    EXPECT_EQ(asked, 5);
    EXPECT_FALSE(m_client.ReceiveOutput(L"x.drq", In(m_clientDir, L"target.xml")));
    EXPECT_EQ(asked, 10);
    m_host.ExpectBox(L"CZelProcessorClient::ReceiveOutput : moving of the file ");
    EXPECT_EQ(m_client.SendRequest(In(m_clientDir, L"y.drq")), eRequestStatus_ClientError);
    EXPECT_EQ(asked, 15);
    m_host.ExpectReport(200, L"MoveFileWhenFree failed!");
    EXPECT_TRUE(platform::PathExists(In(m_clientDir, L"y.drq")));
}

TEST_F(ClientStatus, AFileThatVanishesBeforeItIsOpenedIsLookedForAnew)
{
    // As when a paused request is resumed: its status goes and it lies in the queue again.
    StatusFile().SetStatusAndComment(eRequestStatus_Paused, L"x");
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Open && call.path == StatusPath()) {
            static_cast<void>(platform::SystemFiles().Remove(StatusPath()));
            Write(Queued(L"x.drq"));
        }
    });
    const platform::CScopedOs os(&m_files, nullptr);
    EXPECT_EQ(m_client.GetStatus(L"x.drq", &m_additional), eRequestStatus_Waiting);
    EXPECT_EQ(m_additional.GetProgressComment(), RootApp_RSC_CStr(122, "IDS_WAITING_IN_QUEUE"));
}

TEST_F(ClientStatus, ARequestThatMovesWhileItIsLookedForIsNotMissed)
{
    // The queue is looked at, then the request moves there, then the request directory is looked at.
    Write(In(m_requestDir, L"x.drq"));
    testsupport::CFaultyFiles& files = m_files;
    files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_GetAttributes && call.path == In(m_requestDir, L"x.drq"))
            static_cast<void>(platform::SystemFiles().Move(In(m_requestDir, L"x.drq"), Queued(L"x.drq"), 0));
    });
    const platform::CScopedOs os(&files, nullptr);
    EXPECT_EQ(m_client.GetStatus(L"x.drq", nullptr), eRequestStatus_Waiting);
}

TEST_F(ClientStatus, ALookThatFailedDoesNotMakeARequestUnknown)
{
    StatusFile().SetStatusAndComment(eRequestStatus_Done, L"x");
    int looks = 0;
    m_files.OnCall([&](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_GetAttributes && call.path == StatusPath() && ++looks == 4)
            m_files.StopFailing();
    });
    m_files.FailAlways(testsupport::eFileCall_GetAttributes, platform::eOsError_IoError, StatusPath());
    const platform::CScopedOs os(&m_files, nullptr);
    EXPECT_EQ(m_client.GetStatus(L"x.drq", nullptr), eRequestStatus_Done);
    m_files.OnCall({});
    m_files.FailAlways(testsupport::eFileCall_GetAttributes, platform::eOsError_IoError, StatusPath());
    EXPECT_EQ(m_client.GetStatus(L"x.drq", nullptr), eRequestStatus_NotRequested) << "a system that goes on failing";
}

TEST_F(ClientStatus, TheSnapshotIsTheTimeOfTheLastWrite)
{
    EXPECT_TRUE(m_client.IsStatusFileChanged(L"x.drq", 0)) << "a missing file counts as changed";
    StatusFile().SetStatusAndComment(eRequestStatus_Done, L"x");
    for (const std::int64_t seconds : {1'000'000'000, 1'000'000'001}) {
        const std::chrono::sys_seconds time{std::chrono::seconds(seconds)};
        std::filesystem::last_write_time(testsupport::StandardPath(StatusPath()),
                                         std::chrono::file_clock::from_sys(time));
        EXPECT_TRUE(m_client.IsStatusFileChanged(L"x.drq", m_additional.GetSnapshotHash()));
        EXPECT_EQ(m_client.GetStatus(L"x.drq", &m_additional), eRequestStatus_Done);
        EXPECT_EQ(m_additional.GetSnapshotHash(), seconds);
        EXPECT_FALSE(m_client.IsStatusFileChanged(L"x.drq", seconds));
    }
    StatusFile().SetStatusAndComment(eRequestStatus_Done, L"x");
    EXPECT_TRUE(m_client.IsStatusFileChanged(L"x.drq", m_additional.GetSnapshotHash())) << "it was written again";
}

TEST_F(ClientStatus, ABusyFileCountsAsChangedAndAFailingOneIsReported)
{
    StatusFile().SetStatusAndComment(eRequestStatus_Done, L"x");
    testsupport::CFaultyFiles& files = m_files;
    const platform::CScopedOs os(&files, nullptr);
    files.FailCall(testsupport::eFileCall_Open, 1, platform::eOsError_SharingViolation);
    EXPECT_TRUE(m_client.IsStatusFileChanged(L"x.drq", 0));
    files.FailCall(testsupport::eFileCall_Open, 1, platform::eOsError_FileNotFound);
    EXPECT_TRUE(m_client.IsStatusFileChanged(L"x.drq", 0)) << "it went between the look and the open";
    files.FailCall(testsupport::eFileCall_Open, 1, platform::eOsError_AccessDenied);
    EXPECT_FALSE(m_client.IsStatusFileChanged(L"x.drq", 0));
    files.FailCall(testsupport::eFileCall_FileAttributes, 1, platform::eOsError_IoError);
    EXPECT_FALSE(m_client.IsStatusFileChanged(L"x.drq", 0));
    const auto reports = m_host.TakeReports();
    ASSERT_EQ(reports.size(), 2U);
    EXPECT_EQ(reports[0].message, L"Can't open-read status file.");
    EXPECT_EQ(reports[1].message, L"Status file has no status.");
    EXPECT_EQ(reports[1].function, L"CZelProcessorClient::IsStatusFileChanged");
}
