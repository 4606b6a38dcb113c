#include "server/RequestListener.h"

#include "framework/Exceptions.h"
#include "platform/StandardPath.h"
#include "server/ClientMail.h"
#include "tests/library/server/ListenerFixture.h"
#include "tests/support/WaitUntil.h"

#include <filesystem>
#include <fstream>
#include <thread>

using namespace std::chrono_literals;

namespace {

class RequestListenerTest : public CListenerFixture {
protected:
    RequestListenerTest() { m_bRunning = false; }
    /// Each step ends after a second when nothing is told.
    [[nodiscard]] bool IsTakenInSomeSteps(const std::wstring& name)
    {
        for (int step = 0; step < 10 && !IsWaiting(name); ++step)
            EXPECT_TRUE(m_listener.ListenStep());
        return IsWaiting(name);
    }

    CClientMail m_mail{m_settings, m_registry, m_bRunning};
    CRequestListener m_listener{m_settings, m_requests, m_statuses, m_registry, m_mail, m_bRunning};
};

TEST_F(RequestListenerTest, AcceptsFromItsStartToItsEnd)
{
    m_listener.Prepare();
    EXPECT_FALSE(m_listener.IsListening());
    m_listener.Start();
    EXPECT_TRUE(m_listener.IsListening());
    EXPECT_TRUE(m_bRunning);
    m_listener.EndListener();
    EXPECT_FALSE(m_bRunning);
    EXPECT_FALSE(m_listener.ListenStep());
}

TEST_F(RequestListenerTest, AnEndThatComesBeforeTheStartIsNotForgotten)
{
    m_listener.Prepare();
    m_listener.EndListener();
    m_listener.Start();
    EXPECT_FALSE(m_bRunning);
    EXPECT_FALSE(m_listener.ListenStep());
    m_listener.Prepare();
    m_listener.Start();
    EXPECT_TRUE(m_bRunning);
}

TEST_F(RequestListenerTest, AStepTakesWhatHasCome)
{
    m_listener.Start();
    for (const wchar_t* name : {L"a.drq", L"b.XML", L"c.txt"})
        Send(name);
    const std::uint32_t turns = m_listener.Turns();
    EXPECT_TRUE(m_listener.ListenStep());
    EXPECT_TRUE(IsWaiting(L"a.drq"));
    EXPECT_TRUE(IsWaiting(L"b.XML"));
    EXPECT_TRUE(platform::PathExists(Sent(L"c.txt")));
    EXPECT_GE(m_listener.Turns() - turns, 4U) << "the step and each file";
}

TEST_F(RequestListenerTest, AStepCarriesCommandsOut)
{
    Queue(L"a.drq");
    m_listener.Start();
    SendCommand(L"c.command", eCommandType_CancelRequest, L"a.drq");
    EXPECT_TRUE(m_listener.ListenStep());
    EXPECT_FALSE(m_requests.IsKnown(Queued(L"a.drq")));
    EXPECT_EQ(Status(L"c.command").status, eRequestStatus_Done);
}

TEST_F(RequestListenerTest, AnAnswerThatItsClientHeldOpenIsWrittenWhileATaskRuns)
{
    m_settings.m_options.patience = 0ms;
    m_files.FailAlways(testsupport::eFileCall_Open, platform::eOsError_SharingViolation, L"c.command.status");
    const platform::CScopedOs os(&m_files, nullptr);
    Queue(L"a.drq");
    m_listener.Start();
    SendCommand(L"c.command", eCommandType_CancelRequest, L"a.drq");
    for (int step = 0; step < 10 && m_requests.IsKnown(Queued(L"a.drq")); ++step)
        EXPECT_TRUE(m_listener.ListenStep());
    EXPECT_FALSE(HasStatus(L"c.command"));
    m_files.StopFailing();
    for (int step = 0; step < 10 && !HasStatus(L"c.command"); ++step)
        EXPECT_TRUE(m_listener.ListenStep());
    EXPECT_EQ(Status(L"c.command").status, eRequestStatus_Done) << "by nobody but the listener";
    m_host.AcceptWarnings();
    static_cast<void>(m_host.TakeBoxes());
}

TEST_F(RequestListenerTest, AnEndWakesAStepThatWaits)
{
    m_listener.Start();
    m_listener.EndListener();
    m_bRunning = true; // as a step found it that was about to wait
    EXPECT_TRUE(m_listener.ListenStep());
    EXPECT_TRUE(m_registry.All().empty());
}

TEST_F(RequestListenerTest, AScanThatFailedIsReportedOnceAndMadeUpForUnasked)
{
    m_files.FailCall(testsupport::eFileCall_List, 1, platform::eOsError_AccessDenied, 2);
    const platform::CScopedOs os(&m_files, nullptr);
    m_listener.Start();
    Send(L"a.drq");
    EXPECT_TRUE(m_listener.ListenStep());
    m_host.ExpectReport(170, L"The request directory cannot be read.");
    EXPECT_TRUE(m_listener.ListenStep());
    EXPECT_FALSE(IsWaiting(L"a.drq"));
    EXPECT_TRUE(m_listener.ListenStep());
    EXPECT_TRUE(IsWaiting(L"a.drq"));
}

TEST_F(RequestListenerTest, AWatchThatCannotBeKeptUpIsReportedAtEachTry)
{
    m_files.FailCall(testsupport::eFileCall_Rearm, 1, platform::eOsError_FileNotFound, 2);
    const platform::CScopedOs os(&m_files, nullptr);
    m_listener.Start();
    Send(L"a.drq");
    EXPECT_TRUE(IsTakenInSomeSteps(L"a.drq"));
    EXPECT_EQ(m_host.TakeReports().size(), 2U);
}

TEST_F(RequestListenerTest, AnOperatorIsToldOnceThatAWatchCannotBeKeptUpAndThatItCanAgain)
{
    m_settings.m_options.tellStory = true;
    const platform::CScopedOs os(&m_files, nullptr);
    for (int times = 0; times < 2; ++times) {
        m_files.FailCall(testsupport::eFileCall_Rearm, 1, platform::eOsError_FileNotFound, 2);
        m_listener.Start();
        Send(L"a.drq");
        EXPECT_TRUE(m_listener.ListenStep());
        EXPECT_TRUE(m_listener.ListenStep());
        EXPECT_EQ(m_host.TakeReports().size(), 1U);
        EXPECT_TRUE(IsTakenInSomeSteps(L"a.drq"));
        m_host.ExpectLogLine(L"The request directory can be watched again: " + m_requestDir);
        TSRequestItem item;
        EXPECT_TRUE(m_requests.TakeWaiting(Queued(L"a.drq"), item));
        EXPECT_EQ(platform::Files().Remove(Queued(L"a.drq")), platform::eOsError_None);
    }
}

TEST_F(RequestListenerTest, ADirectoryThatCannotBeWatchedIsReportedAndNothingStarts)
{
    m_settings.m_paths.m_strRequestDir = m_dir / L"nowhere";
    m_listener.Prepare();
    EXPECT_THROW(m_listener.Listen(), CNotSupportedException);
    m_host.ExpectReport(140, L"FindFirstChangeNotification failed.");
    EXPECT_FALSE(m_bRunning);
    EXPECT_FALSE(m_listener.IsListening());
}

TEST_F(RequestListenerTest, ACheckedWatchFindsWhatTheSystemForgotToTell)
{
    const platform::CScopedOs os(&m_files, nullptr);
    m_settings.m_options.checkedWatch = true;
    m_listener.Start();
    Send(L"told.drq");
    EXPECT_TRUE(IsTakenInSomeSteps(L"told.drq"));
    m_files.GoDeaf();
    Send(L"a.drq");
    EXPECT_TRUE(IsTakenInSomeSteps(L"a.drq"));
}

TEST_F(RequestListenerTest, ADirectoryOfWhichNothingIsToldIsListedAndTheLogSaysSoOnce)
{
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.GoDeaf();
    m_settings.m_options.checkedWatch = true;
    m_listener.Start();
    m_host.ExpectLogLine(L"does not tell of changes in this directory, so it is listed instead: " + m_requestDir);
    for (const wchar_t* name : {L"a.drq", L"b.drq"}) {
        Send(name);
        EXPECT_TRUE(IsTakenInSomeSteps(name));
    }
}

TEST_F(RequestListenerTest, ADirectoryThatIsToBePolledIsWhateverTheSystemTells)
{
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.GoDeaf();
    m_settings.m_options.poll = 10ms;
    m_listener.Start();
    Send(L"a.drq");
    EXPECT_TRUE(IsTakenInSomeSteps(L"a.drq"));
}

TEST_F(RequestListenerTest, AHeldFileIsPassedOverAndMetAgain)
{
    m_settings.m_options.patience = std::chrono::milliseconds(50);
    m_files.FailAlways(testsupport::eFileCall_Move, platform::eOsError_SharingViolation, L"held.drq");
    const platform::CScopedOs os(&m_files, &m_clock);
    m_bRunning = true;
    for (const wchar_t* name : {L"held.drq", L"free.drq"})
        Send(name);
    const std::chrono::nanoseconds start = m_clock.Steady();
    EXPECT_TRUE(m_listener.ScanRequestDir());
    EXPECT_LE(m_clock.Steady() - start, 60ms);
    EXPECT_TRUE(IsWaiting(L"free.drq"));
    EXPECT_FALSE(IsWaiting(L"held.drq"));
    m_files.StopFailing();
    EXPECT_TRUE(m_listener.ScanRequestDir());
    EXPECT_FALSE(IsWaiting(L"held.drq")) << "its time has not come";
    m_clock.Advance(10ms);
    EXPECT_TRUE(m_listener.ScanRequestDir());
    EXPECT_TRUE(IsWaiting(L"held.drq"));
    EXPECT_TRUE(m_listener.Taker().PassedOver().IsEmpty());
}

TEST_F(RequestListenerTest, AFileWhoseWriterClosesItIsTakenWithoutAnotherChange)
{
    m_settings.m_options.patience = 0ms;
    m_listener.Start();
    std::ofstream writer(platform::StandardPath(Sent(L"a.drq")));
    writer << "half" << std::flush;
    do {
        ASSERT_TRUE(m_listener.ListenStep());
    } while (m_listener.Taker().PassedOver().UntilNextLook() < 500ms);
    EXPECT_FALSE(IsWaiting(L"a.drq"));
    writer.close();
    const std::chrono::nanoseconds start = platform::Clock().Steady();
    while (!IsWaiting(L"a.drq"))
        ASSERT_TRUE(m_listener.ListenStep());
    const bool isCloseTold = platform::kPathSeparator == L'/';
    EXPECT_LT(platform::Clock().Steady() - start, isCloseTold ? 400ms : 5000ms);
    EXPECT_TRUE(m_listener.Taker().PassedOver().IsEmpty());
}

TEST_F(RequestListenerTest, AHostThatWaitsForHoldersDoesNotHearOfCloses)
{
    Send(L"other.txt");
    m_listener.Start();
    const unsigned looks = m_files.Count(testsupport::eFileCall_List);
    const platform::CScopedOs os(&m_files, nullptr);
    std::ofstream(platform::StandardPath(Sent(L"other.txt")), std::ios::app) << "more";
    EXPECT_TRUE(m_listener.ListenStep());
    EXPECT_EQ(m_files.Count(testsupport::eFileCall_List), looks);
}

TEST_F(RequestListenerTest, WhileItListensWhatNobodyTookIsRemoved)
{
    m_settings.m_options.keep = 24h;
    const std::wstring response = m_settings.m_paths.Output(L"old.drq");
    Write(response);
    const std::filesystem::path path = platform::StandardPath(response);
    std::filesystem::last_write_time(path, std::filesystem::last_write_time(path) - 25h);
    m_listener.Prepare();
    std::thread thread([this] { m_listener.Listen(); });
    EXPECT_TRUE(testsupport::WaitUntil([&] { return !platform::PathExists(response); }));
    m_host.ExpectLogLine(L"Removed because nobody took them: 1 ");
    m_listener.EndListener();
    thread.join();
}

TEST_F(RequestListenerTest, AStopEndsAScanAndLeavesTheRest)
{
    for (const wchar_t* name : {L"a.drq", L"b.drq"})
        Send(name);
    m_bRunning = true;
    m_files.OnCall([this](const testsupport::SFileCall& call) {
        if (call.call == testsupport::eFileCall_Move)
            m_bRunning = false;
    });
    const platform::CScopedOs os(&m_files, nullptr);
    EXPECT_TRUE(m_listener.ScanRequestDir());
    EXPECT_EQ(FilesIn(m_requestDir).size(), 1U);
    EXPECT_NE(IsWaiting(L"a.drq"), IsWaiting(L"b.drq"));
}

TEST_F(RequestListenerTest, AStepWaitsNoLongerThanUntilTheLimitOfWhatRuns)
{
    m_listener.Start();
    TSRequestItem item;
    bool isLast = false;
    m_requests.Add({.m_strFile = Queued(L"a.drq"), .m_timeLimit = 150ms});
    ASSERT_TRUE(m_requests.TakeRequest(item, isLast, [] {}));
    const std::chrono::nanoseconds start = platform::Clock().Steady();
    m_requests.BeginRunning();
    for (int step = 0; step < 10 && !m_requests.IsEndedByLimit(); ++step)
        EXPECT_TRUE(m_listener.ListenStep());
    EXPECT_TRUE(m_requests.IsEndedByLimit());
    EXPECT_GE(platform::Clock().Steady() - start, 150ms);
    EXPECT_TRUE(m_context.m_canceled);
    m_host.AcceptWarnings();
}

} // namespace
