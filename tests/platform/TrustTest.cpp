#include "platform/Trust.h"

#include "platform/FileSystem.h"
#include "platform/Installation.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

using testsupport::CTemporaryDirectory;

TEST(TrustTest, WhatThisUserHasMadeInAFolderOfHisOwnIsTrusted)
{
    const CTemporaryDirectory directory;
    ASSERT_EQ(WriteWholeFile(directory / L"module", "x"), eOsError_None);
    for (const std::wstring& path : {directory.Path(), directory / L"module"}) {
        ASSERT_EQ(KeepOthersFromWriting(path), eOsError_None);
        EXPECT_EQ(DistrustOf(path), L"") << ToUtf8(path);
    }
}

TEST(TrustTest, TheProgramsOfTheSystemAreTrusted)
{
    // Where the test program lies is its builder's, and so is all that it loads from there.
    EXPECT_EQ(DistrustOf(ProgramPath()), L"");
}

TEST(TrustTest, WhomTheFilesOfThisProcessBelongToIsNoAdministratorToItNorIsNobody)
{
    const CTemporaryDirectory directory;
    ASSERT_EQ(WriteWholeFile(directory / L"file", "x"), eOsError_None);
    FileOwner owner;
    ASSERT_EQ(Files().GetOwner(directory / L"file", owner), eOsError_None);
    EXPECT_FALSE(IsAdministrator(owner));
    EXPECT_FALSE(IsAdministrator({}));
}

TEST(TrustTest, WhatIsNotThereIsNotTrusted)
{
    const CTemporaryDirectory directory;
    ASSERT_EQ(WriteWholeFile(directory / L"file", "x"), eOsError_None);
    for (const std::wstring& path : {directory / L"none", JoinPath(directory / L"file", L"below"), std::wstring()}) {
        EXPECT_NE(DistrustOf(path).find(L"cannot be looked at"), std::wstring::npos) << ToUtf8(path);
        EXPECT_TRUE(DistrustOf(path).starts_with(path)) << ToUtf8(path);
    }
}

TEST(PrivateTest, AFolderOfThisUsersOwnIsMadeOnceAndTaken)
{
    const CTemporaryDirectory directory;
    ASSERT_EQ(MakePrivateFolder(directory / L"own"), eOsError_None);
    EXPECT_TRUE(DirectoryExists(directory / L"own"));
    EXPECT_EQ(MakePrivateFolder(directory / L"own"), eOsError_None) << "again";
    EXPECT_EQ(WriteWholeFile(JoinPath(directory / L"own", L"file"), "x"), eOsError_None);
    EXPECT_NE(MakePrivateFolder(JoinPath(directory / L"none", L"own")), eOsError_None);
}

TEST(PrivateTest, WhatThisUserHasMadeIsHis)
{
    const CTemporaryDirectory directory;
    ASSERT_EQ(WriteWholeFile(directory / L"file", "x"), eOsError_None);
    ASSERT_EQ(KeepPrivate(directory / L"file"), eOsError_None);
    EXPECT_TRUE(IsFileOfThisUser(directory / L"file"));
    EXPECT_FALSE(IsFileOfThisUser(directory.Path())) << "a folder is no file";
    EXPECT_FALSE(IsFileOfThisUser(directory / L"none"));
    EXPECT_EQ(WriteWholeFile(directory / L"file", "y"), eOsError_None) << "he may write";
    EXPECT_FALSE(UserTag().empty());
    EXPECT_TRUE(IsPlainFileName(UserTag()));
}

} // namespace
} // namespace platform
