#include "tests/support/ServerKit.h"

#include "platform/Text.h"
#include "tests/support/FaultyThreads.h"

#include <new>

namespace {

using ServerStart = CServerFixture;

/// The host of a server whose file system throws when it is told to.
class FailedServer : public CServerFixture {
protected:
    void SetUp() override
    {
        CServerFixture::SetUp();
        m_files.OnCall([this](const testsupport::SFileCall& call) {
            if (m_bThrow && call.call == m_call && call.path.find(m_pathPart) != std::wstring::npos)
                throw std::bad_alloc();
        });
        m_pOs = std::make_unique<platform::CScopedOs>(&m_files, nullptr);
        SetSlots(1);
    }
    void SetSlots(unsigned count)
    {
        SZelServerOptions options{.syncing = false, .slots = count};
        options.failed = [](void* host) { static_cast<FailedServer*>(host)->Failed(); };
        options.failedContext = this;
        m_pServer->SetOptions(options);
    }
    void TearDown() override
    {
        m_pServer.reset();
        m_pOs.reset();
    }
    void ThrowOn(testsupport::eFileCall call, const std::wstring& pathPart)
    {
        m_call = call;
        m_pathPart = pathPart;
        m_bThrow = true;
    }
    void Failed()
    {
        ++m_told;
        m_failed.Set();
    }
    void ExpectEndAndNewStart(const wchar_t* thread)
    {
        ASSERT_TRUE(m_failed.WaitFor(kPatience));
        EXPECT_TRUE(m_pServer->HasFailed());
        EXPECT_FALSE(Access().IsRunning());
        m_pServer->Stop(true); // returns: both threads have ended, or are about to
        EXPECT_EQ(m_told, 1);
        const auto reports = m_host.TakeReports();
        ASSERT_EQ(reports.size(), 1U);
        EXPECT_TRUE(reports[0].function.starts_with(thread)) << platform::ToUtf8(reports[0].function);
        EXPECT_EQ(reports[0].message, L"std::bad_alloc");
        m_bThrow = false;
        Run();
        EXPECT_FALSE(m_pServer->HasFailed());
        EXPECT_EQ(SendAndWait(L"next.drq"), eRequestStatus_Done);
    }

    testsupport::eFileCall m_call = testsupport::eFileCall_Open;
    std::wstring m_pathPart;
    std::atomic<bool> m_bThrow = false;
    std::atomic<int> m_told = 0;
    platform::CManualResetEvent m_failed;
    std::unique_ptr<platform::CScopedOs> m_pOs;
};

} // namespace

TEST_F(ServerStart, RunIsFalseTenSecondsAfterAListenerThatCanNotWatch)
{
    CZelProcessorServer server;
    server.SetZelProcessorContext(&m_context);
    EXPECT_FALSE(server.Run()) << "the output directory is refused";

    testsupport::CFaultyFiles& files = m_files;
    files.FailAlways(testsupport::eFileCall_Watch, platform::eOsError_AccessDenied);
    // Each look at the clock moves it, so the ten seconds are over soon.
    class CHastyClock final : public platform::IClock {
    public:
        std::uint32_t TickCount() override { return m_ticks += 4000; }
        std::chrono::nanoseconds Steady() override { return platform::SystemClock().Steady(); }
        std::int64_t UtcSeconds() override { return platform::SystemClock().UtcSeconds(); }
        void YieldThread() override { platform::SystemClock().YieldThread(); }
        void SleepFor(std::chrono::milliseconds duration) override { platform::SystemClock().SleepFor(duration); }

    private:
        std::atomic<std::uint32_t> m_ticks = 0;
    } clock;
    const platform::CScopedOs os(&files, &clock);
    EXPECT_FALSE(m_pServer->Run());
    const auto reports = m_host.TakeReports();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].sourceLine, 140);
    EXPECT_EQ(reports[0].function, L"CZelProcessorServer::Listen()");
    EXPECT_EQ(reports[0].message,
              L"FindFirstChangeNotification failed.\n" + platform::OsErrorText(platform::eOsError_AccessDenied));
    m_pServer.reset();
}

TEST_F(ServerStart, RunIsFalseWhenAThreadCanNotBeStarted)
{
    {
        const testsupport::CFaultyThreads threads(1);
        EXPECT_FALSE(m_pServer->Run());
        EXPECT_FALSE(Access().HasThreads());
    }
    {
        const testsupport::CFaultyThreads threads(2);
        EXPECT_FALSE(m_pServer->Run());
        EXPECT_FALSE(Access().HasExecutiveThread());
    }
    m_pServer.reset(); // ends the listener
}

TEST_F(FailedServer, AnExceptionOutOfTheListenerEndsTheServerAndTellsTheHost)
{
    Run();
    ThrowOn(testsupport::eFileCall_List, m_requestDir);
    Write(In(m_requestDir, L"change.txt"));
    ExpectEndAndNewStart(L"CZelProcessorServer::MessageHandling");
}

TEST_F(FailedServer, AnExceptionOutOfTheExecutiveEndsTheServerAndTellsTheHost)
{
    Run();
    ThrowOn(testsupport::eFileCall_Open, L"a.drq.status");
    Send(L"a.drq");
    ExpectEndAndNewStart(L"CZelProcessorServer::Executive");
}

TEST_F(FailedServer, AnExceptionOutOfOneOfSeveralExecutivesEndsTheServerWhenWhatRunsBesideItHasEnded)
{
    SetSlots(3);
    platform::CManualResetEvent entered;
    platform::CManualResetEvent open;
    m_script.obtainData = [&](CZelProcessorContext*, CZelProcessorProgress*) {
        entered.Set();
        return open.WaitFor(kPatience);
    };
    Run();
    Send(L"beside.drq");
    ASSERT_TRUE(entered.WaitFor(kPatience));
    ThrowOn(testsupport::eFileCall_Open, L"a.drq.status");
    Send(L"a.drq");
    ASSERT_TRUE(m_failed.WaitFor(kPatience));
    EXPECT_FALSE(Access().IsRunning());
    open.Set();
    ExpectEndAndNewStart(L"CZelProcessorServer::Executive"); // the second or the third
    EXPECT_EQ(m_client.GetStatus(L"beside.drq", nullptr), eRequestStatus_Done);
}

TEST_F(FailedServer, AHostThatWantsNotToBeToldCanAsk)
{
    m_pServer->SetOptions({.syncing = false});
    Run();
    EXPECT_FALSE(m_pServer->HasFailed());
    ThrowOn(testsupport::eFileCall_List, m_requestDir);
    Write(In(m_requestDir, L"change.txt"));
    EXPECT_TRUE(WaitUntil([&] { return m_pServer->HasFailed(); }));
    m_pServer->Stop(true);
    EXPECT_EQ(m_told, 0);
    m_host.ExpectReport(90, L"std::bad_alloc");
}
