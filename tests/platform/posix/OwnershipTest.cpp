#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/PrivateFiles.h"
#include "tests/support/Links.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Users.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

using testsupport::CAsUser;
using testsupport::kClientUser;
using testsupport::kOtherUser;
using testsupport::kServerUser;

/// Files of one user that are for another one as well, seen by these two and by a third. As the superuser, who is told
/// apart: he gives files away, the others have access lists.
class OwnershipTest : public testing::TestWithParam<unsigned> {
protected:
    void SetUp() override
    {
        if (!testsupport::CanChangeUser())
            GTEST_SKIP() << "CanChangeUser: this takes the superuser";
        ASSERT_EQ(chmod(NarrowPath(m_directory.Path()).c_str(), 0777), 0);
    }
    static bool CanRead(unsigned user, const std::wstring& path)
    {
        const CAsUser reader(user);
        std::string bytes;
        return ReadWholeFile(path, eOpenMode_ReadShared, bytes, 100) == eOsError_None;
    }
    static bool CanEmpty(unsigned user, const std::wstring& path)
    {
        const CAsUser writer(user);
        return WriteWholeFile(path, {}) == eOsError_None;
    }
    static eOsError WriteFor(const FileOwner& owner, const std::wstring& path, const std::string& content)
    {
        const CAsUser server(GetParam());
        const CPrivateFiles files(owner);
        return WriteWholeFile(path, content);
    }

    const FileOwner m_client = std::to_string(kClientUser);
    const testsupport::CTemporaryDirectory m_directory;
    const std::wstring m_file = m_directory / L"file";
};

TEST_P(OwnershipTest, AFileIsForItsOwnerAndTheServerAlone)
{
    ASSERT_EQ(WriteFor(m_client, m_file, "secret"), eOsError_None);
    EXPECT_TRUE(CanRead(kClientUser, m_file));
    EXPECT_TRUE(CanRead(GetParam(), m_file));
    EXPECT_FALSE(CanRead(kOtherUser, m_file));
    EXPECT_EQ(WriteFor(m_client, m_file, "more"), eOsError_None) << "the server goes on writing";
    EXPECT_TRUE(CanEmpty(kClientUser, m_file));
    EXPECT_FALSE(CanEmpty(kOtherUser, m_file));
}

TEST_P(OwnershipTest, WhoHadTheFileOpenDoesNotReadOn)
{
    ASSERT_EQ(WriteFor(std::to_string(kOtherUser), m_file, "his"), eOsError_None);
    int open = -1;
    {
        const CAsUser other(kOtherUser);
        open = ::open(NarrowPath(m_file).c_str(), O_RDONLY | O_CLOEXEC);
        ASSERT_GE(open, 0);
    }
    ASSERT_EQ(WriteFor(m_client, m_file, "secret"), eOsError_None);
    char seen[16] = {};
    EXPECT_EQ(pread(open, seen, sizeof seen, 0), 3);
    EXPECT_STREQ(seen, "his");
    close(open);
    EXPECT_FALSE(CanRead(kOtherUser, m_file));
}

TEST_P(OwnershipTest, AFileThatWasWrittenInAnotherWayIsMadePrivate)
{
    {
        const CAsUser server(GetParam());
        ASSERT_EQ(WriteWholeFile(m_file, "secret"), eOsError_None);
    }
    ASSERT_TRUE(CanRead(kOtherUser, m_file));
    {
        const CAsUser server(GetParam());
        ASSERT_EQ(Files().MakePrivate(m_file, m_client), eOsError_None);
    }
    EXPECT_FALSE(CanRead(kOtherUser, m_file));
    EXPECT_TRUE(CanRead(kClientUser, m_file));
}

TEST_P(OwnershipTest, NothingIsGivenAwayThroughAnotherName)
{
    const std::wstring second = m_directory / L"second";
    {
        const CAsUser server(GetParam());
        ASSERT_EQ(WriteWholeFile(m_file, "the server's own"), eOsError_None);
        ASSERT_EQ(chmod(NarrowPath(m_file).c_str(), 0600), 0);
        ASSERT_EQ(link(NarrowPath(m_file).c_str(), NarrowPath(second).c_str()), 0);
        EXPECT_EQ(Files().MakePrivate(second, m_client), eOsError_AccessDenied);
    }
    EXPECT_FALSE(CanRead(kClientUser, m_file));
    const std::wstring symbolic = m_directory / L"symbolic";
    ASSERT_TRUE(testsupport::MakeLink(m_file, symbolic));
    const CAsUser server(GetParam());
    EXPECT_EQ(Files().MakePrivate(symbolic, m_client), eOsError_LinkInTheWay);
}

TEST_P(OwnershipTest, AnAccessListOfTheDirectoryGivesNobodyAnything)
{
    // One that would let the other user read what is made there: default:user:OTHER:rw-.
    const auto list = testsupport::DefaultAccessList(kOtherUser);
    ASSERT_TRUE(testsupport::SetDefaultAccessList(m_directory.Path(), list));
    ASSERT_EQ(WriteFor(m_client, m_file, "secret"), eOsError_None);
    EXPECT_FALSE(CanRead(kOtherUser, m_file));
    EXPECT_TRUE(CanRead(kClientUser, m_file));
}

TEST_P(OwnershipTest, TheDirectoryOfAServerCanHavePrivateFiles)
{
    const CAsUser server(GetParam());
    EXPECT_EQ(Files().CanMakePrivate(m_directory.Path()), eOsError_None);
    std::vector<SDirectoryEntry> left;
    ASSERT_EQ(Files().List(m_directory.Path(), left), eOsError_None);
    EXPECT_TRUE(left.empty());
    EXPECT_NE(Files().CanMakePrivate(L"/proc"), eOsError_None);
}

TEST_P(OwnershipTest, WhatIsHandedOverCanBeReadByTheOwnerOfTheDirectoryAlone)
{
    ASSERT_EQ(chown(NarrowPath(m_directory.Path()).c_str(), GetParam(), 0), 0);
    {
        const CAsUser client(kClientUser);
        ASSERT_EQ(WriteWholeFile(m_file, "a request"), eOsError_None);
        ASSERT_EQ(chmod(NarrowPath(m_file).c_str(), 0600), 0);
        EXPECT_EQ(Files().AllowReading(m_file, m_directory.Path()), eOsError_None);
    }
    EXPECT_TRUE(CanRead(GetParam(), m_file));
    EXPECT_TRUE(CanRead(kClientUser, m_file));
    EXPECT_FALSE(CanRead(kOtherUser, m_file));
}

/// The owner is the superuser, or the client himself: the server is somebody of the group.
TEST(GroupRightTest, TheGroupOfASharedDirectoryMayReadWhatIsHandedOver)
{
    if (!testsupport::CanChangeUser())
        GTEST_SKIP() << "CanChangeUser: only the superuser can become other users";
    for (const unsigned owner : {0U, kClientUser}) {
        for (const auto& [mode, expected] : {std::pair{02770U, 0640U}, {02750U, 0600U}, {0755U, 0600U}}) {
            const testsupport::CTemporaryDirectory directory;
            const std::wstring file = directory / L"file";
            ASSERT_EQ(WriteWholeFile(file, "a request"), eOsError_None);
            ASSERT_EQ(chown(NarrowPath(file).c_str(), kClientUser, kClientUser), 0);
            ASSERT_EQ(chmod(NarrowPath(file).c_str(), 0600), 0);
            ASSERT_EQ(chown(NarrowPath(directory.Path()).c_str(), owner, kClientUser), 0);
            ASSERT_EQ(chmod(NarrowPath(directory.Path()).c_str(), mode | 0001U), 0);
            {
                const CAsUser client(kClientUser);
                EXPECT_EQ(Files().AllowReading(file, directory.Path()), eOsError_None);
            }
            struct stat status = {};
            ASSERT_EQ(stat(NarrowPath(file).c_str(), &status), 0);
            EXPECT_EQ(status.st_mode & 0777U, expected) << owner << " " << std::oct << mode;
        }
    }
}

TEST(GroupRightTest, AFileThatAnotherGroupMayReadIsHandedOverToThisOneAlone)
{
    if (!testsupport::CanChangeUser())
        GTEST_SKIP() << "CanChangeUser: only the superuser can become other users";
    const testsupport::CTemporaryDirectory directory;
    const std::wstring file = directory / L"file";
    ASSERT_EQ(WriteWholeFile(file, "a request"), eOsError_None);
    ASSERT_EQ(chown(NarrowPath(file).c_str(), 0, kOtherUser), 0);
    ASSERT_EQ(chmod(NarrowPath(file).c_str(), 0660), 0);
    ASSERT_EQ(chown(NarrowPath(directory.Path()).c_str(), 0, kClientUser), 0);
    ASSERT_EQ(chmod(NarrowPath(directory.Path()).c_str(), 02771), 0);
    EXPECT_EQ(Files().AllowReading(file, directory.Path()), eOsError_None);
    struct stat status = {};
    ASSERT_EQ(stat(NarrowPath(file).c_str(), &status), 0);
    EXPECT_EQ(status.st_gid, kClientUser);
    EXPECT_EQ(status.st_mode & 07777U, 0640U);
}

TEST(GroupRightTest, TheFileOfSomebodyOutsideTheGroupStaysAsItIs)
{
    if (!testsupport::CanChangeUser())
        GTEST_SKIP() << "CanChangeUser: only the superuser can become other users";
    const testsupport::CTemporaryDirectory directory;
    const std::wstring file = directory / L"file";
    ASSERT_EQ(WriteWholeFile(file, "a request"), eOsError_None);
    ASSERT_EQ(chown(NarrowPath(file).c_str(), kClientUser, kClientUser), 0);
    ASSERT_EQ(chmod(NarrowPath(file).c_str(), 0600), 0);
    ASSERT_EQ(chown(NarrowPath(directory.Path()).c_str(), 0, kOtherUser), 0);
    ASSERT_EQ(chmod(NarrowPath(directory.Path()).c_str(), 0777), 0);
    {
        const CAsUser client(kClientUser);
        EXPECT_EQ(Files().AllowReading(file, directory.Path()), eOsError_None);
    }
    struct stat status = {};
    ASSERT_EQ(stat(NarrowPath(file).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    EXPECT_EQ(status.st_gid, kClientUser);
}

TEST_P(OwnershipTest, AHeldLockIsSeenByOthersWhateverTheMaskOfItsHolder)
{
    const CAsUser holder(GetParam());
    const mode_t mask = umask(0077);
    std::unique_ptr<ILockFile> lock;
    const eOsError held = Files().OpenLockFile(m_file, "note", lock);
    umask(mask);
    ASSERT_EQ(held, eOsError_None);
    const CAsUser client(kClientUser);
    std::unique_ptr<ILockFile> second;
    EXPECT_EQ(Files().OpenLockFile(m_file, "note", second), eOsError_SharingViolation);
}

INSTANTIATE_TEST_SUITE_P(Servers, OwnershipTest, testing::Values(0U, kServerUser),
                         [](const auto& user) { return user.param == 0 ? "Superuser" : "User"; });

} // namespace
} // namespace platform
