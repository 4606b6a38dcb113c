#include "server/ToldStatus.h"

#include "platform/Os.h"
#include "protocol/ZelProcessorRequestStatusFile.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

class ToldStatus : public testing::Test {
protected:
    eTold Told()
    {
        return ReadTold(m_path, [this] {
            ++m_asked;
            return m_asked < m_patience;
        });
    }

    const testsupport::CTemporaryDirectory m_directory;
    const std::wstring m_path = m_directory / L"a.drq.status";
    int m_asked = 0;
    int m_patience = 1;
};

} // namespace

TEST_F(ToldStatus, EachStatusSaysOneThing)
{
    const std::pair<int, eTold> cases[] = {
        {eRequestStatus_ServerError, eTold_Failed},
        {eRequestStatus_Canceled, eTold_Failed},
        {eRequestStatus_Done, eTold_Done},
        {eRequestStatus_Paused, eTold_Paused},
        {eRequestStatus_NotIntialized, eTold_Nothing},
        {eRequestStatus_ClientError, eTold_Nothing},
        {eRequestStatus_Waiting, eTold_Waiting},
        {eRequestStatus_GettingData, eTold_Running},
        {4711, eTold_Running},
    };
    for (const auto& [status, told] : cases) {
        std::string bytes; // UTF-16, and the number is on the first line
        for (const char digit : std::to_string(status) + "\r\n")
            bytes += {digit, '\0'};
        ASSERT_EQ(platform::WriteWholeFile(m_path, bytes), platform::eOsError_None);
        EXPECT_EQ(Told(), told) << status;
        EXPECT_EQ(IsEnd(told), told == eTold_Failed || told == eTold_Done);
    }
    EXPECT_EQ(m_asked, 0);
}

TEST_F(ToldStatus, WhatIsMissingOrNoStatusSaysNothing)
{
    EXPECT_EQ(Told(), eTold_Nothing);
    ASSERT_EQ(platform::WriteWholeFile(m_path, ""), platform::eOsError_None);
    EXPECT_EQ(Told(), eTold_Nothing);
    ASSERT_EQ(platform::WriteWholeFile(m_path, "no status"), platform::eOsError_None);
    EXPECT_EQ(Told(), eTold_Nothing);
}

TEST_F(ToldStatus, AHolderIsWaitedForAsAReaderIsAndThenAsPatienceHasIt)
{
    ASSERT_EQ(platform::WriteWholeFile(m_path, "x"), platform::eOsError_None);
    std::unique_ptr<platform::IFile> holder;
    ASSERT_EQ(platform::Files().Open(m_path, platform::eOpenMode_ReadShared, holder), platform::eOsError_None);
    testsupport::CManualClock clock;
    const platform::CScopedOs os(nullptr, &clock);
    m_patience = 3;
    EXPECT_EQ(Told(), eTold_Held);
    EXPECT_EQ(m_asked, 3);
    EXPECT_GE(clock.Yields() + clock.Sleeps(), 49U);
    clock.OnWait([&] { holder.reset(); });
    EXPECT_EQ(Told(), eTold_Nothing) << "it was read";
    EXPECT_EQ(m_asked, 3) << "without asking";
}
