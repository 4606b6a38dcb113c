#include "tests/support/posix/MountedImage.h"

#include "platform/FileSystem.h"
#include "platform/Os.h"
#include "platform/ReliableWatch.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

using namespace std::chrono_literals;

class MountedImageTest : public testing::TestWithParam<const wchar_t*> {
protected:
    void SetUp() override
    {
        if (!m_image.IsMounted())
            GTEST_SKIP() << m_image.WhyNot();
    }
    [[nodiscard]] std::wstring In(const wchar_t* name) const { return JoinPath(m_image.Path(), name); }

    const testsupport::CMountedImage m_image{GetParam()};
};

TEST_P(MountedImageTest, TellsItsChanges)
{
    EXPECT_FALSE(IsChangedFromOutside(m_image.Path()));
    std::unique_ptr<IDirectoryWatch> told;
    std::unique_ptr<IDirectoryWatch> proven;
    bool isDeaf = true;
    ASSERT_EQ(Files().Watch(m_image.Path(), eWatchFilter_FileName, told), eOsError_None);
    ASSERT_EQ(WatchProven(m_image.Path(), eWatchFilter_FileName, {.isChecked = true}, proven, isDeaf), eOsError_None);
    EXPECT_FALSE(isDeaf);
    EXPECT_EQ(told->Wait(30s), eWaitResult_Changed) << "of the file that was made for that";
    ASSERT_EQ(told->Rearm(), eOsError_None);
    ASSERT_EQ(WriteWholeFile(In(L"from"), "x"), eOsError_None);
    EXPECT_EQ(told->Wait(30s), eWaitResult_Changed);
}

TEST_P(MountedImageTest, TheTimeOfADirectoryTellsOfNewNames)
{
    SFileAttributes before;
    SFileAttributes after;
    ASSERT_EQ(Files().GetAttributes(m_image.Path(), before), eOsError_None);
    const auto end = SystemClock().Steady() + 30s;
    do { // its clock moves in ticks
        ASSERT_EQ(WriteWholeFile(In(L"file"), "x"), eOsError_None);
        ASSERT_EQ(Files().Remove(In(L"file")), eOsError_None);
        ASSERT_EQ(Files().GetAttributes(m_image.Path(), after), eOsError_None);
    } while (after.times.modified == before.times.modified && SystemClock().Steady() < end);
    EXPECT_GT(after.times.modified, before.times.modified);
}

TEST_P(MountedImageTest, AStrangersOpenFileIsSeenUntilItIsClosed)
{
    ASSERT_EQ(WriteWholeFile(In(L"from"), "x"), eOsError_None);
    const int stranger = open(NarrowPath(In(L"from")).c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(stranger, 0);
    EXPECT_EQ(Files().Move(In(L"from"), In(L"to"), eMoveFlag_None), eOsError_SharingViolation);
    EXPECT_EQ(Files().Remove(In(L"from")), eOsError_SharingViolation);
    ASSERT_EQ(close(stranger), 0);
    EXPECT_EQ(Files().Move(In(L"from"), In(L"to"), eMoveFlag_WriteThrough), eOsError_None);
    EXPECT_EQ(Files().Remove(In(L"to")), eOsError_None);
}

INSTANTIATE_TEST_SUITE_P(Kinds, MountedImageTest, testing::Values(L"ext4", L"xfs", L"btrfs"), [](const auto& kind) {
    const std::wstring name = kind.param;
    return std::string(name.begin(), name.end());
});

} // namespace
} // namespace platform
