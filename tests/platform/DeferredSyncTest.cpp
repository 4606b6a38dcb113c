#include "platform/FileSystem.h"

#include "platform/DeferredSync.h"
#include "platform/Os.h"
#include "platform/Thread.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

using testsupport::CTemporaryDirectory;

class DeferredSyncTest : public testing::Test {
protected:
    void MoveThrough(const CTemporaryDirectory& target, const std::wstring& name)
    {
        ASSERT_EQ(WriteWholeFile(m_source / name, "content"), eOsError_None);
        ASSERT_EQ(Files().Move(m_source / name, target / name, eMoveFlag_WriteThrough), eOsError_None);
    }
    [[nodiscard]] unsigned Syncs() const { return m_files.Count(testsupport::eFileCall_SyncDirectory); }

    const CTemporaryDirectory m_source;
    const CTemporaryDirectory m_first;
    const CTemporaryDirectory m_second;
    testsupport::CFaultyFiles m_files;
    const CScopedOs m_os{&m_files, nullptr};
};

TEST_F(DeferredSyncTest, EachTargetDirectoryIsSyncedOnceAtTheEnd)
{
    {
        const CDeferredDirectorySync deferred;
        for (const wchar_t* name : {L"a", L"b", L"c"}) {
            MoveThrough(m_first, name);
            MoveThrough(m_second, name);
        }
        EXPECT_EQ(Syncs(), 0U);
    }
    std::vector<std::wstring> synced;
    for (const auto& call : m_files.Calls()) {
        if (call.call == testsupport::eFileCall_SyncDirectory) {
            synced.push_back(call.path);
            EXPECT_EQ(call.result, eOsError_None);
        }
    }
    EXPECT_EQ(synced, (std::vector{m_first.Path(), m_second.Path()}));
}

TEST_F(DeferredSyncTest, TheOutermostObjectSyncs)
{
    {
        const CDeferredDirectorySync outer;
        {
            const CDeferredDirectorySync inner;
            MoveThrough(m_first, L"a");
        }
        EXPECT_EQ(Syncs(), 0U);
        MoveThrough(m_first, L"b");
    }
    EXPECT_EQ(Syncs(), 1U);
    {
        const CDeferredDirectorySync again;
    }
    EXPECT_EQ(Syncs(), 1U) << "nothing was moved since";
}

TEST_F(DeferredSyncTest, ASyncThatFailsIsToldAndTheOthersAreMade)
{
    CDeferredDirectorySync deferred;
    MoveThrough(m_first, L"a");
    MoveThrough(m_second, L"b");
    m_files.FailCall(testsupport::eFileCall_SyncDirectory, 1, eOsError_IoError);
    EXPECT_EQ(deferred.Sync(), eOsError_IoError);
    EXPECT_EQ(Syncs(), 2U);
    EXPECT_TRUE(PathExists(m_first / L"a"));
    EXPECT_EQ(deferred.Sync(), eOsError_None);
    EXPECT_EQ(Syncs(), 2U) << "nothing was moved since";
}

TEST_F(DeferredSyncTest, AnObjectWithinAnotherOneLeavesTheSyncToThat)
{
    CDeferredDirectorySync outer;
    {
        CDeferredDirectorySync inner;
        MoveThrough(m_first, L"a");
        EXPECT_EQ(inner.Sync(), eOsError_None);
    }
    EXPECT_EQ(Syncs(), 0U);
    EXPECT_EQ(outer.Sync(), eOsError_None);
    EXPECT_EQ(Syncs(), 1U);
}

TEST_F(DeferredSyncTest, ADirectoryThatCannotBeOpenedForItsSyncGetsNoFile)
{
    CDeferredDirectorySync deferred;
    ASSERT_EQ(WriteWholeFile(m_source / L"a", "content"), eOsError_None);
    m_files.FailCall(testsupport::eFileCall_OpenForSync, 1, eOsError_TooManyOpenFiles);
    EXPECT_EQ(Files().Move(m_source / L"a", m_first / L"a", eMoveFlag_WriteThrough), eOsError_TooManyOpenFiles);
    EXPECT_TRUE(PathExists(m_source / L"a"));
    EXPECT_EQ(Files().Move(m_source / L"a", m_first / L"a", eMoveFlag_WriteThrough), eOsError_None);
    EXPECT_EQ(Files().Move(m_first / L"a", m_first / L"none/a", eMoveFlag_WriteThrough), eOsError_PathNotFound);
    EXPECT_EQ(deferred.Sync(), eOsError_None);
    EXPECT_EQ(Syncs(), 1U);
}

TEST_F(DeferredSyncTest, MovesWithoutWriteThroughLeaveNothingToSync)
{
    {
        const CDeferredDirectorySync deferred;
        ASSERT_EQ(WriteWholeFile(m_source / L"a", "content"), eOsError_None);
        ASSERT_EQ(Files().Move(m_source / L"a", m_first / L"a", 0), eOsError_None);
        EXPECT_EQ(Files().Move(m_source / L"none", m_first / L"b", eMoveFlag_WriteThrough), eOsError_FileNotFound);
    }
    EXPECT_EQ(Syncs(), 0U);
}

TEST_F(DeferredSyncTest, ConcernsItsOwnThreadOnly)
{
    {
        const CDeferredDirectorySync deferred;
        CThread thread;
        ASSERT_TRUE(thread.Start([this] {
            MoveThrough(m_first, L"a");
            return 0U;
        }));
        ASSERT_TRUE(thread.Join());
    }
    EXPECT_EQ(Syncs(), 0U) << "the other thread's move was synced by itself";
}

TEST_F(DeferredSyncTest, ADirectoryThatIsGoneAtTheEndDoesNoHarm)
{
    const CTemporaryDirectory parent;
    const std::wstring target = parent / L"target";
    ASSERT_EQ(Files().MakeDirectory(target), eOsError_None);
    {
        const CDeferredDirectorySync deferred;
        ASSERT_EQ(WriteWholeFile(m_source / L"a", "content"), eOsError_None);
        ASSERT_EQ(Files().Move(m_source / L"a", target + L"/a", eMoveFlag_WriteThrough), eOsError_None);
        ASSERT_EQ(Files().Remove(target + L"/a"), eOsError_None);
        ASSERT_EQ(Files().RemoveEmptyDirectory(target), eOsError_None);
    }
    EXPECT_EQ(Syncs(), 1U);
}

} // namespace
} // namespace platform
