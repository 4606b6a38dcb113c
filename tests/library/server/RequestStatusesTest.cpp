#include "server/RequestStatuses.h"
#include "tests/library/server/ListenerFixture.h"

using namespace std::chrono_literals;

namespace {

using RequestStatusesTest = CListenerFixture;

TEST_F(RequestStatusesTest, AStatusIsWrittenAndRemoved)
{
    m_statuses.SetRequestStatus(L"a.drq", {}, eRequestStatus_Paused, L"by a command");
    EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_Paused);
    EXPECT_EQ(Status(L"a.drq").comment, L"by a command");
    m_statuses.RemoveStatus(L"a.drq");
    EXPECT_FALSE(HasStatus(L"a.drq"));
}

TEST_F(RequestStatusesTest, WhatSomebodyHoldsIsLeftForLaterAndWakesWhoTriesAgain)
{
    m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation, L"a.drq.status");
    const platform::CScopedOs os(&m_files, &m_clock);
    const std::chrono::nanoseconds start = m_clock.Steady();
    m_statuses.SetRequestStatus(L"a.drq", {}, eRequestStatus_Paused, L"by a command");
    EXPECT_LE(m_clock.Steady() - start, 1s) << "the listener serves others";
    EXPECT_FALSE(m_statuses.Left().IsEmpty());
    EXPECT_TRUE(m_requests.WaitFor(0ms));
    m_files.StopFailing();
    m_clock.Advance(1s);
    m_statuses.Left().TryAgain();
    EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_Paused);
    EXPECT_TRUE(m_statuses.Left().IsEmpty());
    m_host.AcceptWarnings();
    static_cast<void>(m_host.TakeBoxes());
}

TEST_F(RequestStatusesTest, ALastStatusIsNeverGivenUpWhenTheHostWantsThat)
{
    struct SFailure {
        testsupport::eFileCall call;
        platform::eOsError error;
    };
    const SFailure failures[] = {{testsupport::eFileCall_Open, platform::eOsError_AccessDenied},
                                 {testsupport::eFileCall_Open, platform::eOsError_DiskFull},
                                 {testsupport::eFileCall_Open, platform::eOsError_TooManyOpenFiles},
                                 {testsupport::eFileCall_Write, platform::eOsError_DiskFull},
                                 {testsupport::eFileCall_Close, platform::eOsError_IoError}};
    for (const bool isWanted : {false, true}) {
        m_settings.m_options.retryLastStatus = isWanted;
        for (const SFailure& failure : failures) {
            const platform::CScopedOs os(&m_files, &m_clock);
            m_statuses.SetRequestStatus(L"a.drq", {}, eRequestStatus_PreparingResponse, L"before");
            m_files.FailCall(failure.call, 1, failure.error, 1, L"a.drq.status");
            m_statuses.SetRequestStatus(L"a.drq", {}, eRequestStatus_Done, L"at last");
            static_cast<void>(m_host.TakeBoxes());
            static_cast<void>(m_host.TakeReports());
            EXPECT_EQ(m_statuses.Left().IsEmpty(), !isWanted);
            m_clock.Advance(1s);
            m_statuses.Left().TryAgain();
            if (isWanted) {
                EXPECT_EQ(Status(L"a.drq").status, eRequestStatus_Done) << failure.call << ' ' << failure.error;
            }
            EXPECT_TRUE(m_statuses.Left().IsEmpty());
        }
    }
    m_host.AcceptWarnings();
}

TEST_F(RequestStatusesTest, ARemovedStatusIsNotWrittenLater)
{
    m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation, L"a.drq.status");
    const platform::CScopedOs os(&m_files, &m_clock);
    m_statuses.SetRequestStatus(L"a.drq", {}, eRequestStatus_Paused, L"by a command");
    m_files.StopFailing();
    m_statuses.RemoveStatus(L"a.drq");
    EXPECT_TRUE(m_statuses.Left().IsEmpty());
    m_clock.Advance(1s);
    m_statuses.Left().TryAgain();
    EXPECT_FALSE(HasStatus(L"a.drq"));
    m_host.AcceptWarnings();
    static_cast<void>(m_host.TakeBoxes());
}

} // namespace
