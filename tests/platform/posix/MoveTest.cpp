#include "platform/FileSystem.h"

#include "platform/DeferredSync.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

using testsupport::CTemporaryDirectory;

constexpr int kNotDurable = 100;

/// Moves a file, synced, as a user who does not own it; the exit code is the failure.
int MoveSyncedAsAnotherUser(const std::vector<std::wstring>& arguments)
{
    constexpr unsigned nobody = 65'534;
    if (setgid(nobody) != 0 || setuid(nobody) != 0)
        return 200;
    const eOsError error = Files().Move(arguments[0], arguments[1], eMoveFlag_WriteThrough);
    return error == eOsError_NotDurable ? kNotDurable : static_cast<int>(error);
}
const testsupport::CChildPart syncedMovePart(L"move-synced-as-another", &MoveSyncedAsAnotherUser);

/// Leaves this process a few descriptors only.
class CFewDescriptors {
public:
    explicit CFewDescriptors(rlim_t left)
    {
        const int next = open("/dev/null", O_RDONLY | O_CLOEXEC);
        close(next);
        EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &m_old), 0);
        const rlimit few = {static_cast<rlim_t>(next) + left, m_old.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    }
    ~CFewDescriptors() { setrlimit(RLIMIT_NOFILE, &m_old); }
    CFewDescriptors(const CFewDescriptors&) = delete;
    CFewDescriptors& operator=(const CFewDescriptors&) = delete;

private:
    rlimit m_old = {};
};

class SyncedMoveTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(WriteWholeFile(m_from, "content"), eOsError_None); }

    const CTemporaryDirectory m_directory;
    const std::wstring m_from = m_directory / L"from";
    const std::wstring m_to = m_directory / L"to";
};

TEST_F(SyncedMoveTest, WhatTheSyncNeedsIsThereBeforeTheMoveOrNothingMoves)
{
    {
        const CFewDescriptors few(1); // for the file itself, not for its directory
        EXPECT_EQ(Files().Move(m_from, m_to, eMoveFlag_WriteThrough), eOsError_TooManyOpenFiles);
        EXPECT_TRUE(PathExists(m_from));
        EXPECT_FALSE(PathExists(m_to));
    }
    EXPECT_EQ(Files().Move(m_from, m_to, eMoveFlag_WriteThrough), eOsError_None);
}

TEST_F(SyncedMoveTest, AMoveIntoADropBoxIsSyncedAtOnceWhenSyncsArePutOff)
{
    testsupport::CFaultyFiles files;
    files.FailAlways(testsupport::eFileCall_OpenForSync, eOsError_AccessDenied);
    const CScopedOs os(&files, nullptr);
    CDeferredDirectorySync deferred;
    EXPECT_EQ(Files().Move(m_from, m_to, eMoveFlag_WriteThrough), eOsError_None);
    EXPECT_TRUE(PathExists(m_to));
    EXPECT_EQ(deferred.Sync(), eOsError_None);
    EXPECT_EQ(files.Count(testsupport::eFileCall_SyncDirectory), 0U) << "nothing was put off";
}

TEST_F(SyncedMoveTest, AMoveWhoseSyncFailsIsToldFromOneThatWasNotMade)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "geteuid: only root becomes somebody else";
    // Neither the file nor the drop box can be opened by that user, so nothing can be synced.
    const std::wstring box = m_directory / L"box";
    ASSERT_EQ(Files().MakeDirectory(box), eOsError_None);
    ASSERT_EQ(chmod(NarrowPath(box).c_str(), 0333), 0);
    ASSERT_EQ(chmod(NarrowPath(m_directory.Path()).c_str(), 0777), 0);
    ASSERT_EQ(chmod(NarrowPath(m_from).c_str(), 0600), 0);
    auto child = testsupport::StartChild(L"move-synced-as-another", {m_from, box + L"/to"});
    EXPECT_EQ(testsupport::FinishChild(child), kNotDurable);
    EXPECT_TRUE(PathExists(box + L"/to"));
    ASSERT_EQ(chmod(NarrowPath(box).c_str(), 0777), 0);
}

} // namespace
} // namespace platform
