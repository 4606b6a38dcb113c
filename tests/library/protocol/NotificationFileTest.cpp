#include "protocol/NotificationFile.h"

#include "platform/Os.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace {

class ClientFile : public testing::Test {
protected:
    testsupport::CTemporaryDirectory m_dir;
    std::wstring m_path = m_dir / L"file";
    testsupport::CFaultyFiles m_files;
    testsupport::CManualClock m_clock;
};

} // namespace

TEST_F(ClientFile, HasNewsWhenThereIsSomethingInIt)
{
    EXPECT_FALSE(NotificationFile::HasContent(m_path)) << "missing";
    ASSERT_EQ(platform::WriteWholeFile(m_path, {}), platform::eOsError_None);
    EXPECT_FALSE(NotificationFile::HasContent(m_path)) << "empty";
    ASSERT_EQ(platform::WriteWholeFile(m_path, "x"), platform::eOsError_None);
    EXPECT_TRUE(NotificationFile::HasContent(m_path));
    EXPECT_EQ(NotificationFile::Empty(m_path), platform::eOsError_None);
    EXPECT_FALSE(NotificationFile::HasContent(m_path));
    EXPECT_TRUE(platform::PathExists(m_path));
}

TEST_F(ClientFile, IsWaitedForASecondBeforeItIsEmptied)
{
    ASSERT_EQ(platform::WriteWholeFile(m_path, "x"), platform::eOsError_None);
    const platform::CScopedOs os(&m_files, &m_clock);
    m_files.FailCall(testsupport::eFileCall_Open, 1, platform::eOsError_SharingViolation, 10);
    EXPECT_EQ(NotificationFile::Empty(m_path), platform::eOsError_None);
    m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation);
    const std::chrono::nanoseconds start = m_clock.Steady();
    EXPECT_EQ(NotificationFile::Empty(m_path), platform::eOsError_SharingViolation);
    EXPECT_EQ(m_clock.Steady() - start, std::chrono::seconds(1));
}
