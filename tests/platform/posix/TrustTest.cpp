#include "platform/Trust.h"

#include "platform/FileSystem.h"
#include "platform/Installation.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/support/Links.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace platform {
namespace {

constexpr uid_t kStranger = 12345;

/// A module two folders below one of the test's own; each of them its owner's alone.
class WayTest : public testing::Test {
protected:
    void SetUp() override
    {
        Mode(m_directory.Path(), 0755);
        for (const std::wstring& folder : {m_above, m_folder}) {
            ASSERT_EQ(Files().MakeDirectory(folder), eOsError_None);
            Mode(folder, 0755);
        }
        ASSERT_EQ(WriteWholeFile(m_module, "x"), eOsError_None);
        Mode(m_module, 0755);
        ASSERT_EQ(DistrustOf(m_module), L"");
    }
    static void Mode(const std::wstring& path, mode_t mode) { ASSERT_EQ(chmod(NarrowPath(path).c_str(), mode), 0); }
    static void Give(const std::wstring& path, uid_t user, gid_t group)
    {
        ASSERT_EQ(lchown(NarrowPath(path).c_str(), user, group), 0);
    }
    static std::wstring Writable(const std::wstring& path) { return L"others may write to " + path; }
    static std::wstring Foreign(const std::wstring& path) { return path + L" belongs to user 12345"; }

    const testsupport::CTemporaryDirectory m_directory;
    const std::wstring m_above = m_directory / L"above";
    const std::wstring m_folder = JoinPath(m_above, L"folder");
    const std::wstring m_module = JoinPath(m_folder, L"module.so");
};

TEST_F(WayTest, WhatOthersMayWriteToIsToldByItsMode)
{
    for (const std::wstring& path : {m_module, m_folder, m_above}) {
        for (const mode_t mode : {0757U, 0777U, 0707U}) {
            Mode(path, mode);
            EXPECT_EQ(DistrustOf(m_module), Writable(path)) << std::oct << mode;
        }
        for (const mode_t mode : {0700U, 0755U}) {
            Mode(path, mode);
            EXPECT_EQ(DistrustOf(m_module), L"") << std::oct << mode;
        }
    }
}

TEST_F(WayTest, AGroupMayWriteOnlyWhenItIsRoots)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "not root: only root can give a file to any group";
    for (const std::wstring& path : {m_module, m_folder, m_above}) {
        Mode(path, 0775);
        Give(path, 0, 0);
        EXPECT_EQ(DistrustOf(m_module), L"");
        Give(path, 0, 1);
        EXPECT_EQ(DistrustOf(m_module), Writable(path));
        Give(path, 0, 0);
    }
}

TEST_F(WayTest, AnAccessListMayHideBehindTheGroupOfRoot)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "not root: the group would be another than root's";
    // Version 2; the owner, user 12345, the group, the mask and the others, as the system keeps them.
    constexpr unsigned char list[] = {2, 0,    0,    0,    0x01, 0,    7,    0, 0xFF, 0xFF, 0xFF, 0xFF, 0x02, 0,    6,
                                      0, 0x39, 0x30, 0,    0,    0x04, 0,    5, 0,    0xFF, 0xFF, 0xFF, 0xFF, 0x10, 0,
                                      6, 0,    0xFF, 0xFF, 0xFF, 0xFF, 0x20, 0, 5,    0,    0xFF, 0xFF, 0xFF, 0xFF};
    if (setxattr(NarrowPath(m_module).c_str(), "system.posix_acl_access", list, sizeof list, 0) != 0)
        GTEST_SKIP() << "the file system has no access lists";
    EXPECT_EQ(DistrustOf(m_module), Writable(m_module));
}

TEST_F(WayTest, EveryOwnerOnTheWayIsThisUserOrRoot)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "not root: only root can give a file away";
    for (const std::wstring& path : {m_module, m_folder, m_above}) {
        Give(path, kStranger, 0);
        EXPECT_EQ(DistrustOf(m_module), Foreign(path));
        Give(path, 0, 0);
        EXPECT_EQ(DistrustOf(m_module), L"");
    }
}

TEST_F(WayTest, OneWhoIsNotRootTrustsRootAndHimselfAndNobodyElse)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "not root: only root can be somebody else for a while";
    Give(m_module, kStranger, 0);
    ASSERT_EQ(seteuid(kStranger), 0);
    const std::wstring own = DistrustOf(m_module);
    ASSERT_EQ(seteuid(0), 0);
    Give(m_module, kStranger + 1, 0);
    ASSERT_EQ(seteuid(kStranger), 0);
    const std::wstring foreign = DistrustOf(m_module);
    ASSERT_EQ(seteuid(0), 0);
    EXPECT_EQ(own, L"");
    EXPECT_EQ(foreign, m_module + L" belongs to user 12346");
}

TEST_F(WayTest, WhatCannotBeLookedAtIsNotTrusted)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "not root: the folder in the way must be root's";
    Mode(m_above, 0700);
    ASSERT_EQ(seteuid(kStranger), 0);
    const std::wstring distrust = DistrustOf(m_module);
    ASSERT_EQ(seteuid(0), 0);
    EXPECT_TRUE(distrust.starts_with(m_folder + L" cannot be looked at: ")) << ToUtf8(distrust);
}

TEST_F(WayTest, AFolderForAllIsNoHarmWhereNobodyCanTakeAwayWhatLiesInIt)
{
    Mode(m_above, 01777); // as /tmp is
    EXPECT_EQ(DistrustOf(m_module), L"");
    EXPECT_EQ(DistrustOf(m_above), Writable(m_above)) << "others may lay something into it";
    Mode(m_above, 0755);
    Mode(m_folder, 01777);
    EXPECT_EQ(DistrustOf(m_module), Writable(m_folder)) << "others may lay something beside it";
    if (geteuid() != 0)
        return;
    Mode(m_folder, 0755);
    Mode(m_above, 01777);
    Give(m_folder, kStranger, 0);
    EXPECT_EQ(DistrustOf(m_module), Foreign(m_folder));
}

TEST_F(WayTest, ALinkIsTrustedWhenItsFolderAndItsTargetAre)
{
    const testsupport::CTemporaryDirectory other;
    Mode(other.Path(), 0755);
    const std::wstring link = other / L"link";
    ASSERT_TRUE(testsupport::MakeLink(m_above, link));
    const std::wstring byLink = JoinPath(JoinPath(link, L"folder"), L"module.so");
    EXPECT_EQ(DistrustOf(byLink), L"");
    Mode(m_above, 0777);
    EXPECT_EQ(DistrustOf(byLink), Writable(m_above)) << "where it leads to";
    Mode(m_above, 0755);
    Mode(other.Path(), 0777);
    EXPECT_EQ(DistrustOf(byLink), Writable(other.Path())) << "where it lies";
    Mode(other.Path(), 01777);
    EXPECT_EQ(DistrustOf(byLink), L"");
    if (geteuid() != 0)
        return;
    Give(link, kStranger, 0);
    EXPECT_EQ(DistrustOf(byLink), Foreign(link));
}

TEST_F(WayTest, RelativeLinksAndChainsOfThemAreFollowed)
{
    ASSERT_TRUE(testsupport::MakeLink(L"module.so", JoinPath(m_folder, L"one.so")));
    ASSERT_TRUE(testsupport::MakeLink(L"../folder/one.so", JoinPath(m_folder, L"two.so")));
    ASSERT_TRUE(testsupport::MakeLink(L"circle.so", JoinPath(m_folder, L"circle.so")));
    EXPECT_EQ(DistrustOf(JoinPath(m_folder, L"two.so")), L"");
    EXPECT_NE(DistrustOf(JoinPath(m_folder, L"circle.so")).find(L"cannot be looked at"), std::wstring::npos);
    Mode(m_module, 0757);
    EXPECT_EQ(DistrustOf(JoinPath(m_folder, L"two.so")), Writable(m_module));
}

TEST_F(WayTest, WhatIsPrivateIsTheOwnersAlone)
{
    const auto modeOf = [](const std::wstring& path) {
        struct stat status = {};
        EXPECT_EQ(lstat(NarrowPath(path).c_str(), &status), 0);
        return status.st_mode & 07777U;
    };
    const mode_t habits = umask(0);
    EXPECT_EQ(MakePrivateFolder(JoinPath(m_folder, L"own")), eOsError_None);
    umask(habits);
    EXPECT_EQ(modeOf(JoinPath(m_folder, L"own")), 0700U);
    EXPECT_EQ(KeepPrivate(m_module), eOsError_None);
    EXPECT_EQ(modeOf(m_module), 0600U);
}

TEST_F(WayTest, AFolderOfSomebodyElseIsNotTakenForAPrivateOne)
{
    const std::wstring taken = JoinPath(m_folder, L"taken");
    ASSERT_TRUE(testsupport::MakeLink(L"/tmp", taken));
    EXPECT_EQ(MakePrivateFolder(taken), eOsError_AccessDenied) << "a link to where others may write";
    if (geteuid() != 0)
        GTEST_SKIP() << "not root: only root can give a folder away";
    const std::wstring given = JoinPath(m_folder, L"given");
    ASSERT_EQ(Files().MakeDirectory(given), eOsError_None);
    Give(given, kStranger, 0);
    EXPECT_EQ(MakePrivateFolder(given), eOsError_AccessDenied);
    Give(m_module, kStranger, 0);
    EXPECT_FALSE(IsFileOfThisUser(m_module));
}

TEST(AdministratorTest, TheSuperuserIsOneToOthersAndAnotherUserIsNot)
{
    EXPECT_EQ(IsAdministrator("0"), geteuid() != 0);
    EXPECT_FALSE(IsAdministrator(std::to_string(kStranger)));
}

TEST_F(WayTest, APipeIsNoModule)
{
    const std::wstring pipe = JoinPath(m_folder, L"pipe.so");
    ASSERT_EQ(mkfifo(NarrowPath(pipe).c_str(), 0700), 0);
    EXPECT_EQ(DistrustOf(pipe), pipe + L" is neither a file nor a folder");
}

} // namespace
} // namespace platform
