#include "tests/support/ServerKit.h"

#include "com/ComThread.h"
#include "framework/CrashReport.h"
#include "platform/Module.h"
#include "platform/Mutex.h"
#include "platform/Text.h"

#include <atomic>
#include <chrono>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

using namespace std::chrono_literals;

namespace {

/// A server that runs four requests at once, and clients that cancel, pause and resume what they have sent.
class Unrest : public CServerFixture {
protected:
    static constexpr unsigned kSlots = 4;
    static constexpr int kClients = 8;
    /// ZEL_TEST_REQUESTS=10000 is the long form.
    static constexpr int kUsually = 1040;
    void SetUp() override
    {
        CServerFixture::SetUp();
        Make({.syncing = false, .slots = kSlots});
        m_script.obtainData = [this](CZelProcessorContext* context, CZelProcessorProgress*) {
            Enter(MOXCrashRpt::CScopedSubject::CurrentName());
            for (int turn = 0; turn < 2 && !context->IsCanceled(); ++turn)
                std::this_thread::yield();
            m_open.Wait();
            return true;
        };
    }
    static int CountOfEach()
    {
        const std::wstring asked = platform::Environment(L"ZEL_TEST_REQUESTS");
        return (asked.empty() ? kUsually : std::stoi(asked)) / kClients;
    }
    void Enter(const std::wstring& name)
    {
        const platform::CMutexLock lock(m_cs);
        ++m_entered[name];
    }
    std::map<std::wstring, int> Entered()
    {
        const platform::CMutexLock lock(m_cs);
        return m_entered;
    }

    platform::CManualResetEvent m_open;

private:
    platform::CMutex m_cs;
    std::map<std::wstring, int> m_entered ZEL_GUARDED_BY(m_cs);
};

/// One of those who send: one request after the other, each of which it follows to its end.
class CRestlessClient {
public:
    CRestlessClient(const SServerParts& server, const SProtocolPaths& paths, std::wstring folder, unsigned seed,
                    std::chrono::milliseconds patience)
        : m_server(server),
          m_strFolder(std::move(folder)),
          m_patience(patience),
          m_random(seed) // NOLINT(cert-msc32-c,cert-msc51-cpp): the same at each run
    {
        EXPECT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(m_strFolder)));
        m_client.Init(paths.m_strRequestDir, paths.m_strOutputDir, m_strFolder);
        m_client.SetSyncing(false);
        m_client.SetCommandTimeout(patience);
        m_client.SetWithdrawsCommands(true);
    }

    void Send(const std::wstring& name)
    {
        const std::wstring path = platform::JoinPath(m_strFolder, name);
        EXPECT_EQ(platform::WriteWholeFile(path, "<Request/>"), platform::eOsError_None);
        EXPECT_EQ(m_client.SendRequest(path), eRequestStatus_Sent);
    }
    void Cancel(const std::wstring& name) { EXPECT_EQ(m_client.CancelRequest(name), eRequestStatus_Done); }
    /// Of one that waits until this is over.
    void PauseAndResume(const std::wstring& name)
    {
        EXPECT_EQ(m_client.PauseRequest(name), eRequestStatus_Done);
        Resume(name);
    }
    void Disturb(const std::wstring& name)
    {
        if (m_random() % 16 == 0 && TryPause(name))
            Resume(name);
        if (m_random() % 4 == 0)
            Cancel(name);
    }
    eZelProcRequestStatus Follow(const std::wstring& name)
    {
        const std::chrono::nanoseconds end = platform::Clock().Steady() + m_patience;
        for (;;) {
            const eZelProcRequestStatus status = m_watch.WaitForEnd(name, 200ms, nullptr);
            if (CZelRequestWatch::IsFinal(status) || platform::Clock().Steady() > end)
                return status;
            if (m_server.IsRequestPaused(name)) // by the one command for it that was given up and not withdrawn
                Resume(name);
        }
    }

    [[nodiscard]] int Paused() const { return m_nPaused; }

private:
    /// The pause of a request that waits no longer is not answered: who sends it gives up soon. A server that had taken
    /// it by then may carry it out still, so that a second one could resume.
    bool TryPause(const std::wstring& name)
    {
        m_client.SetCommandTimeout(250ms);
        const eZelProcRequestStatus status = m_client.PauseRequest(name);
        m_client.SetCommandTimeout(m_patience);
        EXPECT_TRUE(status == eRequestStatus_Done || status == eRequestStatus_ServerTimeout) << status;
        return status == eRequestStatus_Done;
    }
    /// No other command for the name is under way.
    void Resume(const std::wstring& name)
    {
        ++m_nPaused;
        EXPECT_TRUE(m_server.IsRequestPaused(name)) << testing::PrintToString(name);
        EXPECT_EQ(m_client.PauseRequest(name), eRequestStatus_Done);
        EXPECT_FALSE(m_server.IsRequestPaused(name)) << testing::PrintToString(name);
    }

    const SServerParts m_server;
    const std::wstring m_strFolder;
    const std::chrono::milliseconds m_patience;
    std::mt19937 m_random;
    CZelProcessorClient m_client;
    CZelRequestWatch m_watch{m_client, m_server.server.m_settings.m_paths.m_strOutputDir};
    int m_nPaused = 0;
};

} // namespace

TEST_F(Unrest, EachOfManyRequestsThatAreCancelledPausedAndResumedEndsOnce)
{
    Run();
    const int each = CountOfEach();
    std::atomic<int> waiting = 0;
    std::atomic<int> done = 0;
    std::atomic<int> canceled = 0;
    std::atomic<int> paused = 0;
    const auto serve = [&](int number) {
        const CComThread com(CComThread::eEnd_WhenFresh);
        const SServerParts server = Access();
        CRestlessClient client(server, server.server.m_settings.m_paths, In(m_clientDir, std::to_wstring(number)),
                               static_cast<unsigned>(number), kPatience);
        for (int count = 0; count < each; ++count) {
            const std::wstring name = std::to_wstring(number) + L"-" + std::to_wstring(count) + L".drq";
            client.Send(name);
            if (count == 0) { // the first ones have all slots, and the others wait
                EXPECT_TRUE(WaitUntil([&] {
                    CRequestQueue& requests = Access().Requests();
                    return requests.IsKnown(server.server.m_settings.m_paths.InQueue(name)) &&
                           requests.AllRunning().size() == kSlots;
                }));
                if (server.IsRequestInQueue(name))
                    client.PauseAndResume(name);
                if (++waiting == kClients) {
                    client.Cancel(name); // or whatever runs
                    m_open.Set();
                }
                m_open.Wait();
            }
            client.Disturb(name);
            const eZelProcRequestStatus status = client.Follow(name);
            EXPECT_TRUE(status == eRequestStatus_Done || status == eRequestStatus_Canceled)
                << status << testing::PrintToString(name);
            ++(status == eRequestStatus_Done ? done : canceled);
        }
        paused += client.Paused();
    };
    std::vector<std::thread> clients;
    for (int number = 0; number < kClients; ++number)
        clients.emplace_back(serve, number);
    for (std::thread& client : clients)
        client.join();
    m_pServer->Stop(true);
    EXPECT_EQ(done + canceled, kClients * each);
    EXPECT_GT(canceled, 0);
    EXPECT_GE(paused, kClients - static_cast<int>(kSlots));
    for (const auto& [name, runs] : Entered())
        EXPECT_EQ(runs, 1) << testing::PrintToString(name);
    for (const std::wstring& folder : {In(m_outputDir, L"Queue"), m_requestDir}) {
        std::vector<std::wstring> left = FilesIn(folder);
        std::erase_if(left, [](const std::wstring& name) { return name.ends_with(L".command"); }); // not carried out
        EXPECT_EQ(left, std::vector<std::wstring>());
    }
    static_cast<void>(m_host.TakeBoxes()); // of these commands
    for (const auto& report : m_host.TakeReports())
        EXPECT_EQ(report.sourceLine, 345) << "a command that was not answered: " << platform::ToUtf8(report.message);
}
