#include "client/ClientState.h"

#include "platform/Os.h"
#include "reports/ReportLines.h"
#include "tests/support/Directories.h"
#include "tests/support/RecordingHost.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

/// A client without its face, and nobody who answers.
class ClientState : public testing::Test, protected CDirectories {
protected:
    void SetUp() override
    {
        MakeDirectories();
        m_state.Init(m_requestDir, m_outputDir, m_clientDir);
        Write(m_path);
        ASSERT_TRUE(platform::Succeeded(platform::Files().Open(m_path, platform::eOpenMode_ReadShared, m_holder)));
    }

    CRecordingHost m_host;
    CClientState m_state;
    std::wstring m_path = In(m_clientDir, L"job.drq");
    std::unique_ptr<platform::IFile> m_holder;
};

} // namespace

TEST_F(ClientState, AReasonIsOneLine)
{
    m_state.Explain(L"one\ntwo\n");
    EXPECT_EQ(m_state.LastErrorText(), L"one two ");
    m_state.Explain(L"a/b.drq", platform::eOsError_AccessDenied);
    EXPECT_EQ(m_state.LastErrorText(), L"a/b.drq: " + platform::OsErrorText(platform::eOsError_AccessDenied));
}

TEST_F(ClientState, AFailureIsReportedAndExplainedWithTheSameWords)
{
    EXPECT_FALSE(m_state.Fail(7, L"Function", L"It failed."));
    EXPECT_EQ(m_state.LastErrorText(), L"It failed.");
    EXPECT_FALSE(m_state.Fail(8, L"Function", L"It failed.", L"a/b.drq"));
    EXPECT_EQ(m_state.LastErrorText(), L"a/b.drq: It failed.");
    const auto reports = m_host.TakeReports();
    ASSERT_EQ(reports.size(), 2U);
    for (std::size_t i = 0; i < reports.size(); ++i) {
        EXPECT_EQ(reports[i].sourceLine, static_cast<long>(7 + i));
        EXPECT_EQ(reports[i].function, L"Function");
        EXPECT_EQ(reports[i].message, L"It failed.") << "the report has no path, as ever";
    }
}

TEST_F(ClientState, AFileThatIsHeldIsSentWhenItsHolderCloses)
{
    int asked = 0;
    m_state.SetGoOn([&] {
        if (++asked == 3)
            m_holder.reset();
        return true;
    });
    EXPECT_EQ(m_state.SendMessageToServer(m_path), eRequestStatus_Sent);
    EXPECT_EQ(asked, 3);
    EXPECT_EQ(m_state.LastErrorText(), L"");
    EXPECT_EQ(Read(In(m_requestDir, L"job.drq")), "<Request/>");
}

TEST_F(ClientState, WhoWillNotGoOnIsToldThatTheFileIsHeld)
{
    int asked = 0;
    m_state.SetGoOn([&] { return ++asked < 3; });
    EXPECT_EQ(m_state.SendMessageToServer(m_path), eRequestStatus_ClientError);
    EXPECT_EQ(asked, 3);
    EXPECT_TRUE(m_state.LastErrorText().ends_with(platform::OsErrorText(platform::eOsError_SharingViolation)));
    EXPECT_TRUE(platform::PathExists(m_path));
    m_host.ExpectReport(ReportLines::kMessageNotMoved, L"MoveFileWhenFree failed!");
}

TEST_F(ClientState, OfItselfAHandOverIsSyncedAndReplaces)
{
    EXPECT_EQ(m_state.MoveFlags(), unsigned{platform::eMoveFlag_ReplaceExisting | platform::eMoveFlag_WriteThrough});
    m_state.SetSyncing(false);
    EXPECT_EQ(m_state.MoveFlags(), unsigned{platform::eMoveFlag_ReplaceExisting});
}
