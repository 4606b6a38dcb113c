#include "server/RequestTaker.h"
#include "reports/StringCodes.h"
#include "server/RequestRefusals.h"
#include "tests/library/server/ListenerFixture.h"

using namespace std::chrono_literals;

namespace {

class RequestTakerTest : public CListenerFixture {
protected:
    bool Add(const std::wstring& name) { return m_taker.AddRequestToQueue(Sent(name)); }

    CRequestRefusals m_refusals{m_settings, m_requests, m_statuses};
    CRequestTaker m_taker{m_settings, m_requests, m_statuses, m_refusals, m_bRunning, m_nTurns};
};

TEST_F(RequestTakerTest, TakesTheFileIntoTheQueue)
{
    Send(L"a.drq");
    EXPECT_TRUE(Add(L"a.drq"));
    EXPECT_TRUE(IsWaiting(L"a.drq"));
    EXPECT_TRUE(HasFile(L"a.drq"));
    EXPECT_FALSE(platform::PathExists(Sent(L"a.drq")));
    EXPECT_FALSE(HasStatus(L"a.drq"));
}

TEST_F(RequestTakerTest, AFileThatVanishedIsNoFailure)
{
    EXPECT_FALSE(Add(L"a.drq"));
    EXPECT_FALSE(IsWaiting(L"a.drq"));
}

TEST_F(RequestTakerTest, AServerThatResumesLooksAgainForWhatCouldNotBeMovedAndTellsItOnce)
{
    const platform::CScopedOs os(&m_files, nullptr);
    for (const bool resumes : {false, true}) {
        m_settings.m_options.resume = resumes;
        Send(L"a.drq");
        m_files.FailCall(testsupport::eFileCall_Move, 1, platform::eOsError_DiskFull, 2);
        for (int look = 0; look < 2; ++look) {
            m_taker.StartLook();
            EXPECT_FALSE(m_taker.AddRequestToQueue(Sent(L"a.drq")));
            EXPECT_EQ(m_taker.HasFailed(), resumes);
        }
        EXPECT_EQ(m_host.TakeBoxes().size(), resumes ? 1U : 2U);
        Send(L"b.drq");
        m_files.FailCall(testsupport::eFileCall_Move, 1, platform::eOsError_DiskFull);
        EXPECT_FALSE(m_taker.AddRequestToQueue(Sent(L"b.drq")));
        EXPECT_EQ(m_host.TakeBoxes().size(), 1U) << "another one is told of as well";
        ASSERT_TRUE(platform::Succeeded(platform::SystemFiles().Remove(Sent(L"b.drq"))));
    }
    m_taker.StartLook();
    EXPECT_TRUE(m_taker.AddRequestToQueue(Sent(L"a.drq")));
    EXPECT_FALSE(m_taker.HasFailed());
}

TEST_F(RequestTakerTest, ANameThatWaitsIsNotTakenAgain)
{
    Queue(L"a.drq");
    Send(L"a.drq");
    EXPECT_FALSE(Add(L"a.drq"));
    m_host.ExpectBox(L"CZelProcessorServer::AddRequestToQueue : moving of the file '" + Sent(L"a.drq") + L"' to '" +
                     Queued(L"a.drq") + L"' failed");
    EXPECT_TRUE(platform::PathExists(Sent(L"a.drq")));
    EXPECT_EQ(m_requests.CountOf({}), 1U);
    m_bRunning = false;
    EXPECT_FALSE(Add(L"a.drq")) << "and a server that stops says nothing";
}

TEST_F(RequestTakerTest, WhoHoldsAFileIsWaitedForAsLongAsTheLookHasPatience)
{
    m_settings.m_options.patience = std::chrono::milliseconds(50);
    m_files.FailAlways(testsupport::eFileCall_Move, platform::eOsError_SharingViolation);
    const platform::CScopedOs os(&m_files, &m_clock);
    Send(L"a.drq");
    m_taker.StartLook();
    const std::chrono::nanoseconds start = m_clock.Steady();
    EXPECT_EQ(m_taker.TakeIntoQueue(Sent(L"a.drq"), Queued(L"a.drq")), CRequestTaker::eTaken_Held);
    EXPECT_GE(m_clock.Steady() - start, 50ms);
    EXPECT_GT(m_nTurns, 1U);
    EXPECT_FALSE(m_taker.PassedOver().IsEmpty());
    const std::chrono::nanoseconds second = m_clock.Steady();
    EXPECT_EQ(m_taker.TakeIntoQueue(Sent(L"b.drq"), Queued(L"b.drq")), CRequestTaker::eTaken_Held);
    EXPECT_LE(m_clock.Steady() - second, 1ms) << "it is used up";
    m_taker.StartLook();
    const std::chrono::nanoseconds third = m_clock.Steady();
    EXPECT_EQ(m_taker.TakeIntoQueue(Sent(L"b.drq"), Queued(L"b.drq")), CRequestTaker::eTaken_Held);
    EXPECT_LE(m_clock.Steady() - third, 1ms) << "who was waited for is not waited for again";
}

TEST_F(RequestTakerTest, WithoutPatienceWhoIsClosingAFileIsWaitedFor)
{
    m_settings.m_options.patience = 0ms;
    m_files.FailCall(testsupport::eFileCall_Move, 1, platform::eOsError_SharingViolation);
    const platform::CScopedOs os(&m_files, &m_clock);
    Send(L"a.drq");
    m_taker.StartLook();
    const std::chrono::nanoseconds start = m_clock.Steady();
    EXPECT_TRUE(Add(L"a.drq"));
    EXPECT_LE(m_clock.Steady() - start, 1ms);
    EXPECT_TRUE(m_taker.PassedOver().IsEmpty());
}

TEST_F(RequestTakerTest, WithoutALimitAFileIsWaitedForAsOftenAsItIsMet)
{
    m_taker.PassedOver().Meet(Sent(L"a.drq"));
    m_files.FailCall(testsupport::eFileCall_Move, 1, platform::eOsError_SharingViolation, 50);
    const platform::CScopedOs os(&m_files, &m_clock);
    Send(L"a.drq");
    m_taker.StartLook();
    EXPECT_TRUE(Add(L"a.drq"));
}

TEST_F(RequestTakerTest, AStopEndsTheWaitForWhoHoldsAFile)
{
    m_files.FailAlways(testsupport::eFileCall_Move, platform::eOsError_SharingViolation);
    m_clock.OnWait([this] { m_bRunning = false; });
    const platform::CScopedOs os(&m_files, &m_clock);
    Send(L"a.drq");
    EXPECT_FALSE(Add(L"a.drq"));
    EXPECT_TRUE(platform::PathExists(Sent(L"a.drq")));
}

TEST_F(RequestTakerTest, TheRequestBeyondTheLimitIsRefused)
{
    m_settings.m_options.maxQueued = 2;
    for (const wchar_t* name : {L"a.drq", L"b.drq", L"c.drq"})
        Send(name);
    EXPECT_TRUE(Add(L"a.drq"));
    EXPECT_TRUE(Add(L"b.drq"));
    EXPECT_FALSE(Add(L"c.drq"));
    EXPECT_FALSE(platform::PathExists(Sent(L"c.drq")));
    EXPECT_EQ(Status(L"c.drq").status, eRequestStatus_ServerError);
    EXPECT_EQ(Status(L"c.drq").comment, FormatText(TextOf(StringCodes::kTooManyWaiting), {L"2"}));
    m_host.ExpectLogLine(L"Refused (1 since the last such line): " + Sent(L"c.drq"));
}

TEST_F(RequestTakerTest, ARefusalLeavesTheStatusOfARequestOfTheSameNameAlone)
{
    m_settings.m_options.maxQueued = 1;
    Send(L"a.drq");
    ASSERT_TRUE(Add(L"a.drq"));
    Send(L"a.drq");
    EXPECT_FALSE(Add(L"a.drq"));
    EXPECT_FALSE(platform::PathExists(Sent(L"a.drq")));
    EXPECT_FALSE(HasStatus(L"a.drq"));
    m_host.ExpectLogLine(L"Refused (1 since the last such line): " + Sent(L"a.drq"));
}

} // namespace
