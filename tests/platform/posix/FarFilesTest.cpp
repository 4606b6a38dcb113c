#include "platform/FileSystem.h"

#include "platform/Os.h"
#include "platform/Path.h"
#include "tests/platform/posix/LockCalls.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <array>
#include <linux/magic.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

using testsupport::CFarFiles;

constexpr long kSmb2 = 0xFE534D42;
constexpr int kCannotSwitch = 200;

/// What a user does with another one's file on NFS; the exit code is the failure.
int DoAsAnotherUser(const std::vector<std::wstring>& arguments)
{
    constexpr unsigned nobody = 65'534;
    if (setgid(nobody) != 0 || setuid(nobody) != 0)
        return kCannotSwitch;
    const CFarFiles far(NFS_SUPER_MAGIC);
    const std::wstring& path = arguments[1];
    if (arguments[0] == L"move")
        return static_cast<int>(Files().Move(path, path + L".moved", eMoveFlag_None));
    if (arguments[0] == L"lock") {
        std::unique_ptr<ILockFile> lock;
        return static_cast<int>(Files().OpenLockFile(path, "another", lock));
    }
    std::string text;
    const eOsError error = ReadWholeFile(path, eOpenMode_ReadExclusive, text, 100);
    return error == eOsError_None && text != "content" ? 1 : static_cast<int>(error);
}
const testsupport::CChildPart otherUserPart(L"far-files-other-user", &DoAsAnotherUser);

class FarFilesTest : public testing::TestWithParam<long> {
protected:
    void SetUp() override { ASSERT_EQ(WriteWholeFile(m_from, "content"), eOsError_None); }

    const testsupport::CTemporaryDirectory m_directory;
    const std::wstring m_from = m_directory / L"from";
    const std::wstring m_to = m_directory / L"to";
    const CFarFiles m_far{GetParam()};
};

TEST_P(FarFilesTest, ARefusedLeaseKeepsNobodyFromMovingReplacingAndRemoving)
{
    EXPECT_EQ(Files().Move(m_from, m_to, eMoveFlag_None), eOsError_None);
    ASSERT_EQ(WriteWholeFile(m_from, "another"), eOsError_None);
    EXPECT_EQ(Files().Move(m_from, m_to, eMoveFlag_ReplaceExisting | eMoveFlag_WriteThrough), eOsError_None);
    std::string text;
    EXPECT_EQ(ReadWholeFile(m_to, eOpenMode_ReadExclusive, text, 100), eOsError_None);
    EXPECT_EQ(text, "another");
    EXPECT_EQ(Files().Remove(m_to), eOsError_None);
    EXPECT_FALSE(PathExists(m_to));
}

TEST_P(FarFilesTest, WhoOpenedAFileWithThisLayerIsSeen)
{
    for (const eOpenMode mode : {eOpenMode_ReadShared, eOpenMode_ReadExclusive, eOpenMode_WriteExclusive}) {
        std::unique_ptr<IFile> holder;
        ASSERT_EQ(Files().Open(m_from, mode, holder), eOsError_None);
        EXPECT_EQ(Files().Move(m_from, m_to, eMoveFlag_None), eOsError_SharingViolation) << mode;
        EXPECT_EQ(Files().Remove(m_from), eOsError_SharingViolation) << mode;
        ASSERT_EQ(WriteWholeFile(m_to, "x"), eOsError_None);
        EXPECT_EQ(Files().Move(m_to, m_from, eMoveFlag_ReplaceExisting), eOsError_AccessDenied) << mode;
        ASSERT_EQ(Files().Remove(m_to), eOsError_None);
    }
    EXPECT_EQ(Files().Move(m_from, m_to, eMoveFlag_None), eOsError_None);
}

TEST_P(FarFilesTest, WhoReadsAloneIsAlone)
{
    std::unique_ptr<IFile> first;
    std::unique_ptr<IFile> second;
    ASSERT_EQ(Files().Open(m_from, eOpenMode_ReadExclusive, first), eOsError_None);
    for (const eOpenMode mode : {eOpenMode_ReadShared, eOpenMode_ReadExclusive, eOpenMode_WriteExclusive})
        EXPECT_EQ(Files().Open(m_from, mode, second), eOsError_SharingViolation) << mode;
    std::array<std::byte, 10> buffer = {};
    std::size_t read = 0;
    EXPECT_EQ(first->Read(buffer, read), eOsError_None);
    EXPECT_EQ(read, 7U);
    EXPECT_EQ(first->Close(), eOsError_None);
    EXPECT_EQ(Files().Open(m_from, eOpenMode_WriteExclusive, second), eOsError_None);
}

TEST_P(FarFilesTest, ALockFileHasOneHolder)
{
    std::unique_ptr<ILockFile> first;
    std::unique_ptr<ILockFile> second;
    ASSERT_EQ(Files().OpenLockFile(m_to, "first", first), eOsError_None);
    EXPECT_EQ(Files().OpenLockFile(m_to, "second", second), eOsError_SharingViolation);
    first.reset();
    EXPECT_EQ(Files().OpenLockFile(m_to, "second", second), eOsError_None);
}

INSTANTIATE_TEST_SUITE_P(Systems, FarFilesTest, testing::Values(NFS_SUPER_MAGIC, kSmb2),
                         [](const auto& type) { return type.param == kSmb2 ? "Smb" : "Nfs"; });

TEST(NearFilesTest, ARefusedLeaseIsAHolder)
{
    const testsupport::CTemporaryDirectory directory;
    ASSERT_EQ(WriteWholeFile(directory / L"file", "content"), eOsError_None);
    const CFarFiles near(EXT4_SUPER_MAGIC);
    EXPECT_EQ(Files().Remove(directory / L"file"), eOsError_SharingViolation);
}

/// Files of root, which another user may read and not write.
class ForeignFarFilesTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (geteuid() != 0)
            GTEST_SKIP() << "geteuid: only root becomes somebody else";
        ASSERT_EQ(WriteWholeFile(m_path, "content"), eOsError_None);
        ASSERT_EQ(chmod(NarrowPath(m_path).c_str(), 0644), 0);
        ASSERT_EQ(chmod(NarrowPath(m_directory.Path()).c_str(), 0777), 0);
    }
    eOsError AnotherUser(const std::wstring& action)
    {
        auto child = testsupport::StartChild(L"far-files-other-user", {action, m_path});
        return static_cast<eOsError>(testsupport::FinishChild(child));
    }

    const testsupport::CTemporaryDirectory m_directory;
    const std::wstring m_path = m_directory / L"file";
};

TEST_F(ForeignFarFilesTest, AreLockedAgainstWritersAlone)
{
    std::unique_ptr<IFile> holder;
    ASSERT_EQ(Files().Open(m_path, eOpenMode_WriteExclusive, holder), eOsError_None);
    EXPECT_EQ(AnotherUser(L"read"), eOsError_SharingViolation);
    EXPECT_EQ(AnotherUser(L"move"), eOsError_SharingViolation);
    holder.reset();
    ASSERT_EQ(WriteWholeFile(m_path, "content"), eOsError_None);
    ASSERT_EQ(Files().Open(m_path, eOpenMode_ReadShared, holder), eOsError_None);
    EXPECT_EQ(AnotherUser(L"read"), eOsError_None) << "a reader is not seen";
    EXPECT_EQ(AnotherUser(L"move"), eOsError_None);
    EXPECT_TRUE(PathExists(m_path + L".moved"));
}

TEST_F(ForeignFarFilesTest, ALockFileThatMayNotBeWrittenIsNotTaken)
{
    EXPECT_EQ(AnotherUser(L"lock"), eOsError_AccessDenied);
    EXPECT_TRUE(PathExists(m_path));
}

} // namespace
} // namespace platform
