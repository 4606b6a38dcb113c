#include "com/ComError.h"
#include "framework/Exceptions.h"
#include "framework/WorkerThread.h"
#include "reports/ReportLines.h"
#include "tests/support/ServerKit.h"

namespace {

/// A server without its face, and without threads but those of a test.
class ServerState : public CServerFixture {
protected:
    void SetUp() override
    {
        MakeDirectories();
        m_state.m_settings.m_options.syncing = false;
        m_state.m_settings.m_options.failed = [](void* context) { ++static_cast<ServerState*>(context)->m_told; };
        m_state.m_settings.m_options.failedContext = this;
        ASSERT_TRUE(m_state.SetDirs(m_requestDir, m_outputDir));
    }
    /// As the listener's thread begins.
    void Listen()
    {
        m_state.m_listener.Prepare();
        m_state.m_listener.Start();
    }
    /// On a thread of its own, for it gets a name.
    unsigned ExitCodeOf(const std::function<bool()>& body)
    {
        unsigned code = 99;
        std::thread([&] { code = m_state.RunThread("Part::Thread", body); }).join();
        return code;
    }

    CServerState m_state;
    std::atomic<int> m_told = 0;
};

} // namespace

TEST_F(ServerState, AStopNamesTheLastStatusesThatSomebodyHoldsToItsEnd)
{
    m_state.m_settings.m_options.retryLastStatus = true;
    ASSERT_TRUE(m_state.Run());
    const std::wstring held = In(m_outputDir, L"held.drq.status");
    std::unique_ptr<platform::IFile> hold;
    ASSERT_EQ(platform::Files().Open(held, platform::eOpenMode_WriteExclusive, hold), platform::eOsError_None);
    m_state.m_statuses.Left().Leave(held, "last");
    m_state.m_statuses.Left().Leave(In(m_outputDir, L"free.drq.status"), "last");
    m_state.Stop(true);
    m_host.ExpectLogLine(L"The server stops while a status still has to wait for its file: " + held);
    EXPECT_EQ(m_state.m_statuses.Left().Paths(), std::vector<CString>{held});
    EXPECT_TRUE(platform::PathExists(In(m_outputDir, L"free.drq.status")));
}

TEST_F(ServerState, AThreadThatDoesItsWorkEndsWithZeroAndStopsNothing)
{
    Listen();
    EXPECT_EQ(ExitCodeOf([] { return true; }), 0U);
    EXPECT_TRUE(m_state.m_bRunning);
    EXPECT_EQ(m_told, 0);
}

TEST_F(ServerState, AnExceptionIsReportedWithItsThreadAndEndsTheOtherOne)
{
    Listen();
    EXPECT_EQ(ExitCodeOf([]() -> bool { throw std::runtime_error("broken"); }), 1U);
    EXPECT_FALSE(m_state.m_bRunning);
    EXPECT_TRUE(m_state.m_bFailed);
    const auto reports = m_host.TakeReports();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].sourceLine, ReportLines::kThreadFailed);
    EXPECT_EQ(reports[0].function, L"CPart::Thread");
    EXPECT_EQ(reports[0].message, L"broken");
}

TEST_F(ServerState, OneThatWasReportedWhereItWasThrownIsNotReportedTwice)
{
    Listen();
    EXPECT_EQ(ExitCodeOf([]() -> bool { AfxThrowNotSupportedException(); }), 1U);
    EXPECT_FALSE(m_state.m_bRunning);
    EXPECT_EQ(m_told, 1);
}

TEST_F(ServerState, TheHostIsToldOnceThoughBothThreadsFail)
{
    Listen();
    for (int thread = 0; thread < 2; ++thread)
        EXPECT_EQ(ExitCodeOf([]() -> bool { AfxThrowNotSupportedException(); }), 1U);
    EXPECT_EQ(m_told, 1);
}

TEST_F(ServerState, OneThatNeverAcceptedAnythingHasNotFailed)
{
    EXPECT_EQ(ExitCodeOf([]() -> bool { AfxThrowNotSupportedException(); }), 1U);
    EXPECT_EQ(m_told, 0);
    EXPECT_FALSE(m_state.m_bFailed) << "who started it sees that it did not come up";
}

TEST_F(ServerState, AThreadThatCanNotDoItsWorkTellsItsExitCodeAlone)
{
    Listen();
    EXPECT_EQ(ExitCodeOf([] { return false; }), 1U);
    EXPECT_TRUE(m_state.m_bRunning);
    EXPECT_EQ(m_told, 0);
}

TEST_F(ServerState, ProgressIsATurnOfEachThreadSinceTheLastQuestion)
{
    EXPECT_TRUE(m_state.MakesProgress()) << "who does not run owes none";
    Listen();
    EXPECT_FALSE(m_state.MakesProgress()) << "nobody has turned yet";
    const auto turnListener = [&](const wchar_t* change) {
        Write(In(m_requestDir, change)); // or it would wait for one
        EXPECT_TRUE(m_state.m_listener.ListenStep());
    };
    turnListener(L"first.txt");
    EXPECT_FALSE(m_state.MakesProgress()) << "of the executive there was none";
    turnListener(L"second.txt");
    m_state.m_settings.m_bNoExecutiveThread = true;
    EXPECT_TRUE(m_state.MakesProgress()) << "there is no executive";
    EXPECT_FALSE(m_state.MakesProgress()) << "that turn has been counted";
}

TEST_F(ServerState, ProgressIsOfAllSlots)
{
    m_state.m_settings.m_options.slots = 2;
    m_state.m_settings.m_options.manual = true; // or a turn would wait for a request
    Listen();
    ASSERT_TRUE(m_state.PrepareSlots());
    for (const bool isBoth : {false, true}) {
        Write(In(m_requestDir, isBoth ? L"both.txt" : L"one.txt"));
        EXPECT_TRUE(m_state.m_listener.ListenStep());
        for (const auto& slot : m_state.m_slots) {
            if (slot->m_nNumber == 0 || isBoth) {
                EXPECT_TRUE(slot->m_executive.ProcessQueueStep());
            }
        }
        EXPECT_EQ(m_state.MakesProgress(), isBoth);
    }
}

TEST_F(ServerState, WithoutAPaletteAChangeIsThePointerError)
{
    ASSERT_FALSE(m_state.m_pPalette);
    try {
        m_state.OnChangedDs(nullptr);
        FAIL() << "nothing was thrown";
    } catch (const CComError& error) {
        EXPECT_EQ(error.Code(), E_POINTER);
    }
}

TEST_F(ServerState, ItRunsOnceAndAgainAfterItsThreadsHaveEnded)
{
    m_state.SetContext(&m_context);
    ASSERT_TRUE(m_state.Run());
    EXPECT_FALSE(m_state.Run());
    m_state.Stop(false);
    EXPECT_TRUE(m_state.m_pMHThread) << "it may still use what the server is made of";
    ASSERT_TRUE(m_state.EndEarlierRun());
    EXPECT_FALSE(m_state.m_pMHThread);
    EXPECT_FALSE(m_state.HasExecutiveThread());
    EXPECT_TRUE(m_state.Run());
    m_state.Stop(true);
    EXPECT_FALSE(m_state.m_pMHThread);
}
