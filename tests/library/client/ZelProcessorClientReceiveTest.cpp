#include "tests/support/ServerKit.h"

#include "protocol/ZelProcessorProgressStatusFile.h"

namespace {

/// The server is made, so that its directories exist, but never runs: the test writes what a server would.
class ClientReceive : public CServerFixture {
protected:
    [[nodiscard]] CZelProcessorProgressStatusFile StatusFile() const
    {
        return {L"ZelProcessor", In(m_outputDir, L"x.drq.status")};
    }
};

} // namespace

TEST_F(ClientReceive, ReceivingMovesTheOutputAndRemovesTheStatus)
{
    Write(In(m_outputDir, L"x.drq"), "<Response/>");
    StatusFile().SetStatusAndComment(eRequestStatus_Done, L"x");
    Write(In(m_clientDir, L"target.xml"), "old");
    EXPECT_TRUE(m_client.ReceiveOutput(In(m_clientDir, L"x.drq"), In(m_clientDir, L"target.xml")));
    EXPECT_EQ(Read(In(m_clientDir, L"target.xml")), "<Response/>");
    EXPECT_TRUE(FilesIn(m_outputDir).empty());
    EXPECT_EQ(m_client.GetStatus(L"x.drq", nullptr), eRequestStatus_NotRequested);
}

TEST_F(ClientReceive, ReceivingReplacesAndIsSyncedUnlessSwitchedOff)
{
    const platform::CScopedOs os(&m_files, nullptr);
    for (const bool syncing : {true, false}) {
        m_client.SetSyncing(syncing);
        Write(In(m_outputDir, L"x.drq"), "<Response/>");
        m_files.ForgetCalls();
        EXPECT_TRUE(m_client.ReceiveOutput(L"x.drq", In(m_clientDir, L"target.xml")));
        std::vector<unsigned> flags;
        for (const testsupport::SFileCall& call : m_files.Calls()) {
            if (call.call == testsupport::eFileCall_Move)
                flags.push_back(call.mode);
        }
        EXPECT_EQ(flags, std::vector<unsigned>{syncing ? 9U : 1U});
    }
}

TEST_F(ClientReceive, ReceivingRemovesAStatusThatTheServerIsStillClosing)
{
    Write(In(m_outputDir, L"x.drq"), "<Response/>");
    StatusFile().SetStatusAndComment(eRequestStatus_Done, L"x");
    m_files.FailCall(testsupport::eFileCall_Remove, 1, platform::eOsError_SharingViolation, 10, L"x.drq.status");
    const platform::CScopedOs os(&m_files, nullptr);
    EXPECT_TRUE(m_client.ReceiveOutput(L"x.drq", In(m_clientDir, L"target.xml")));
    EXPECT_TRUE(FilesIn(m_outputDir).empty());
}

TEST_F(ClientReceive, ReceivingWithoutAnOutputIsShown)
{
    EXPECT_FALSE(m_client.ReceiveOutput(L"x.drq", In(m_clientDir, L"target.xml")));
    const auto boxes = m_host.TakeBoxes();
    ASSERT_EQ(boxes.size(), 1U);
    EXPECT_EQ(boxes[0].text, L"Response file " + In(m_outputDir, L"x.drq") + L" does not exist");
    EXPECT_EQ(boxes[0].style, 16U);
}

TEST_F(ClientReceive, AFailedReceiveLeavesOutputAndStatus)
{
    Write(In(m_outputDir, L"x.drq"), "<Response/>");
    StatusFile().SetStatusAndComment(eRequestStatus_Done, L"x");
    const std::wstring target = In(m_dir / L"missing", L"target.xml");
    EXPECT_FALSE(m_client.ReceiveOutput(L"x.drq", target));
    const auto boxes = m_host.TakeBoxes();
    ASSERT_EQ(boxes.size(), 1U);
    EXPECT_EQ(boxes[0].text, L"CZelProcessorClient::ReceiveOutput : moving of the file '" + In(m_outputDir, L"x.drq") +
                                 L"' to '" + target + L"' failed");
    EXPECT_TRUE(platform::PathExists(In(m_outputDir, L"x.drq")));
    EXPECT_EQ(m_client.GetStatus(L"x.drq", nullptr), eRequestStatus_Done);
}

TEST_F(ClientReceive, ForgettingRemovesResponseAndStatusOfWhatHasEnded)
{
    for (const auto status : {eRequestStatus_Done, eRequestStatus_Canceled, eRequestStatus_ServerError}) {
        Write(In(m_outputDir, L"x.drq"), "<Response/>");
        StatusFile().SetStatusAndComment(status, L"x");
        EXPECT_EQ(m_client.ForgetRequest(In(m_clientDir, L"x.drq")), status);
        EXPECT_TRUE(FilesIn(m_outputDir).empty());
    }
    Write(In(m_outputDir, L"x.drq"), "<Response/>");
    EXPECT_EQ(m_client.ForgetRequest(L"x.drq"), eRequestStatus_NotRequested);
    EXPECT_TRUE(FilesIn(m_outputDir).empty()) << "a response that lost its status";
    EXPECT_EQ(m_client.ForgetRequest(L"x.drq"), eRequestStatus_NotRequested);
}

TEST_F(ClientReceive, ForgettingLeavesWhatHasNotEnded)
{
    Write(In(m_requestDir, L"x.drq"));
    EXPECT_EQ(m_client.ForgetRequest(L"x.drq"), eRequestStatus_Waiting);
    EXPECT_TRUE(platform::PathExists(In(m_requestDir, L"x.drq")));
    Write(In(m_outputDir, L"x.drq"), "<Resp");
    for (const auto status : {eRequestStatus_Parsing, eRequestStatus_PreparingResponse, eRequestStatus_Paused}) {
        StatusFile().SetStatusAndComment(status, L"x");
        EXPECT_EQ(m_client.ForgetRequest(L"x.drq"), status);
        EXPECT_EQ(FilesIn(m_outputDir).size(), 2U);
    }
}

TEST_F(ClientReceive, ForgettingTellsOfAFileThatStays)
{
    Write(In(m_outputDir, L"x.drq"), "<Response/>");
    StatusFile().SetStatusAndComment(eRequestStatus_Done, L"x");
    m_files.FailCall(testsupport::eFileCall_Remove, 1, platform::eOsError_AccessDenied, 1, L"x.drq");
    const platform::CScopedOs os(&m_files, nullptr);
    EXPECT_EQ(m_client.ForgetRequest(L"x.drq"), eRequestStatus_ClientError);
    m_host.ExpectReport(430, L"Can't delete file.\n  " + In(m_outputDir, L"x.drq"));
    EXPECT_EQ(m_client.GetStatus(L"x.drq", nullptr), eRequestStatus_Done) << "its name is not free yet";
    EXPECT_EQ(m_client.ForgetRequest(L"x.drq"), eRequestStatus_Done);
}
