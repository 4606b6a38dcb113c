#include "platform/Trust.h"

#include "platform/FileSystem.h"
#include "platform/Installation.h"
#include "platform/Module.h"
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

TEST(TrustTest, WhatIsNotThereIsNotTrusted)
{
    const CTemporaryDirectory directory;
    ASSERT_EQ(WriteWholeFile(directory / L"file", "x"), eOsError_None);
    for (const std::wstring& path : {directory / L"none", JoinPath(directory / L"file", L"below"), std::wstring()}) {
        EXPECT_NE(DistrustOf(path).find(L"cannot be looked at"), std::wstring::npos) << ToUtf8(path);
        EXPECT_TRUE(DistrustOf(path).starts_with(path)) << ToUtf8(path);
    }
}

} // namespace
} // namespace platform
