#include "platform/ReliableWatch.h"

#include "platform/Os.h"
#include "platform/Path.h"
#include "tests/support/posix/Mirror.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

using namespace std::chrono_literals;

TEST(MirrorTest, WhatIsDoneBeneathAMountIsSeenThereByAskingAlone)
{
    const testsupport::CTemporaryDirectory beneath;
    const testsupport::CMirror mirror(beneath.Path());
    if (!mirror.IsMounted())
        GTEST_SKIP() << "CMirror: bindfs or /dev/fuse is missing here, or may not be used";
    EXPECT_TRUE(IsChangedFromOutside(mirror.Path()));

    std::unique_ptr<IDirectoryWatch> told;
    std::unique_ptr<IDirectoryWatch> asked;
    ASSERT_EQ(Files().Watch(mirror.Path(), eWatchFilter_FileName, told), eOsError_None);
    ASSERT_EQ(WatchReliably(mirror.Path(), eWatchFilter_FileName, {.isChecked = true}, asked), eOsError_None);
    EXPECT_EQ(asked->Wait(30s), eWaitResult_Changed) << "its first look";
    EXPECT_EQ(asked->Rearm(), eOsError_None);
    ASSERT_EQ(WriteWholeFile(beneath / L"file", "x"), eOsError_None);
    EXPECT_EQ(asked->Wait(30s), eWaitResult_Changed);
    EXPECT_EQ(told->Wait(0ms), eWaitResult_Timeout) << "a mount that tells this needs no other watch";
    EXPECT_EQ(asked->Rearm(), eOsError_None);
    std::string text;
    EXPECT_EQ(ReadWholeFile(JoinPath(mirror.Path(), L"file"), eOpenMode_ReadShared, text, 100), eOsError_None);
    EXPECT_EQ(text, "x");
}

} // namespace
} // namespace platform
