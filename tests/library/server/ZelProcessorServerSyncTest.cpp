#include "tests/support/ServerKit.h"

namespace {

using ListenerSync = CServerFixture;

} // namespace

TEST_F(ListenerSync, OneScanSyncsTheQueueDirectoryOnce)
{
    Make({.syncing = true});
    m_pServer->SetNoExecutiveThread(true);
    for (const wchar_t* name : {L"a.drq", L"b.drq", L"c.drq"})
        Write(In(m_requestDir, name));
    const platform::CScopedOs os(&m_files, nullptr);
    Run();
    Write(In(m_requestDir, L"change.txt"));
    ASSERT_TRUE(WaitUntil([&] { return Access().QueuedNames().size() == 3; }));
    m_pServer->Stop(true);
    unsigned moves = 0;
    for (const testsupport::SFileCall& call : m_files.Calls()) {
        if (call.call == testsupport::eFileCall_Move) {
            EXPECT_EQ(call.mode, static_cast<unsigned>(platform::eMoveFlag_WriteThrough));
            ++moves;
        } else if (call.call == testsupport::eFileCall_SyncDirectory) {
            EXPECT_EQ(call.path, In(m_outputDir, L"Queue"));
            EXPECT_EQ(moves, 3U) << "after the last move of the scan";
        } else {
            EXPECT_NE(call.call, testsupport::eFileCall_Sync) << "who handed a request over synced its data";
        }
    }
    EXPECT_EQ(moves, 3U);
    EXPECT_EQ(m_files.Count(testsupport::eFileCall_SyncDirectory), 1U);
    m_pServer.reset();
}

TEST_F(ListenerSync, ASyncThatFailsIsReportedAndTheRequestsAreServed)
{
    Make({.syncing = true});
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.FailCall(testsupport::eFileCall_SyncDirectory, 1, platform::eOsError_IoError);
    Run();
    EXPECT_EQ(SendAndWait(L"a.drq"), eRequestStatus_Done);
    m_host.ExpectReport(185, L"What was handed over may not survive a power cut: " + In(m_outputDir, L"Queue") + L"\n" +
                                 platform::OsErrorText(platform::eOsError_IoError));
    EXPECT_EQ(SendAndWait(L"b.drq"), eRequestStatus_Done);
    m_pServer.reset();
}

TEST_F(ListenerSync, WithoutSyncingNothingIsSynced)
{
    m_pServer->SetNoExecutiveThread(true);
    Write(In(m_requestDir, L"a.drq"));
    const platform::CScopedOs os(&m_files, nullptr);
    Run();
    Write(In(m_requestDir, L"change.txt"));
    ASSERT_TRUE(WaitUntil([&] { return Access().QueuedNames().size() == 1; }));
    m_pServer->Stop(true);
    for (const testsupport::SFileCall& call : m_files.Calls()) {
        if (call.call == testsupport::eFileCall_Move) {
            EXPECT_EQ(call.mode, static_cast<unsigned>(platform::eMoveFlag_None));
        }
    }
    EXPECT_EQ(m_files.Count(testsupport::eFileCall_SyncDirectory), 0U);
    m_pServer.reset();
}
