#include "platform/FileSystem.h"

#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Thread.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

using testsupport::CTemporaryDirectory;

/// Moves a file as a user who does not own it; the exit code is the failure.
int MoveAsAnotherUser(const std::vector<std::wstring>& arguments)
{
    constexpr unsigned nobody = 65'534;
    if (setgid(nobody) != 0 || setuid(nobody) != 0)
        return 200;
    return static_cast<int>(Files().Move(arguments[0], arguments[1], eMoveFlag_None));
}
const testsupport::CChildPart movePart(L"lease-move-as-another", &MoveAsAnotherUser);

bool CanChangeUser()
{
    return geteuid() == 0;
}

class LeaseTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(WriteWholeFile(m_from, "content"), eOsError_None);
        ASSERT_EQ(chmod(NarrowPath(m_directory.Path()).c_str(), 0777), 0);
    }
    eOsError MoveByAnotherUser()
    {
        auto child = testsupport::StartChild(L"lease-move-as-another", {m_from, m_to});
        return static_cast<eOsError>(testsupport::FinishChild(child));
    }

    const CTemporaryDirectory m_directory;
    const std::wstring m_from = m_directory / L"from";
    const std::wstring m_to = m_directory / L"to";
};

TEST_F(LeaseTest, WhereNoLeaseIsGivenUsersOfThisLayerAreStillSeen)
{
    if (!CanChangeUser())
        GTEST_SKIP() << "CanChangeUser: only root becomes somebody else";
    ASSERT_EQ(chmod(NarrowPath(m_from).c_str(), 0644), 0);
    {
        std::unique_ptr<IFile> holder;
        ASSERT_EQ(Files().Open(m_from, eOpenMode_ReadShared, holder), eOsError_None);
        EXPECT_EQ(MoveByAnotherUser(), eOsError_SharingViolation);
    }
    EXPECT_EQ(MoveByAnotherUser(), eOsError_None);
    EXPECT_TRUE(PathExists(m_to));
}

TEST_F(LeaseTest, AFileThatCannotBeOpenedIsMovedUnchecked)
{
    if (!CanChangeUser())
        GTEST_SKIP() << "CanChangeUser: only root becomes somebody else";
    ASSERT_EQ(chmod(NarrowPath(m_from).c_str(), 0600), 0);
    EXPECT_EQ(MoveByAnotherUser(), eOsError_None);
    EXPECT_TRUE(PathExists(m_to));
}

TEST_F(LeaseTest, ADirectoryThatCannotBeOpenedIsStillNoFile)
{
    if (!CanChangeUser())
        GTEST_SKIP() << "CanChangeUser: only root becomes somebody else";
    ASSERT_EQ(Files().Remove(m_from), eOsError_None);
    ASSERT_EQ(Files().MakeDirectory(m_from), eOsError_None);
    ASSERT_EQ(chmod(NarrowPath(m_from).c_str(), 0700), 0);
    EXPECT_EQ(MoveByAnotherUser(), eOsError_AccessDenied);
}

TEST_F(LeaseTest, ADropBoxTakesFilesWithWriteThrough)
{
    // A directory into which everybody may put files, but which its own user may not read.
    const std::wstring box = m_directory / L"box";
    ASSERT_EQ(Files().MakeDirectory(box), eOsError_None);
    ASSERT_EQ(chmod(NarrowPath(box).c_str(), 0333), 0);
    EXPECT_EQ(Files().Move(m_from, box + L"/from", eMoveFlag_WriteThrough), eOsError_None);
    EXPECT_TRUE(PathExists(box + L"/from"));
    ASSERT_EQ(chmod(NarrowPath(box).c_str(), 0777), 0);
}

TEST_F(LeaseTest, AStrangerWhoOpensDuringAMoveHarmsNobody)
{
    // The kernel tells the one who holds a lease about the opener with a signal, which must not end the process.
    std::atomic<bool> end{false};
    CThread stranger;
    ASSERT_TRUE(stranger.Start([&] {
        while (!end) {
            for (const std::wstring& path : {m_from, m_to}) {
                const int descriptor = open(NarrowPath(path).c_str(), O_RDONLY | O_CLOEXEC);
                if (descriptor >= 0)
                    close(descriptor);
            }
        }
        return 0U;
    }));
    int moved = 0;
    for (int tries = 0; tries < 5000; ++tries) {
        const auto error = moved % 2 == 0 ? Files().Move(m_from, m_to, 0) : Files().Move(m_to, m_from, 0);
        if (error == eOsError_None)
            ++moved;
        else
            ASSERT_EQ(error, eOsError_SharingViolation);
    }
    end = true;
    ASSERT_TRUE(stranger.Join());
    EXPECT_GT(moved, 0);
}

} // namespace
} // namespace platform
