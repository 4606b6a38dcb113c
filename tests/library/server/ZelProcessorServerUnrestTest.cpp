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
    /// The pause of a request that waits no longer is not answered: its client gives up after its own time, which is
    /// ten seconds when nobody says otherwise.
    static constexpr auto kAnswer = 250ms;

    void SetUp() override
    {
        CServerFixture::SetUp();
        Make({.syncing = false, .slots = kSlots});
        m_script.obtainData = [this](CZelProcessorContext* context, CZelProcessorProgress*) {
            Enter(MOXCrashRpt::CScopedSubject::CurrentName());
            for (int turn = 0; turn < 20 && !context->IsCanceled(); ++turn)
                std::this_thread::yield();
            return WaitUntil([&] { return m_open.IsSet() || context->IsCanceled(); });
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
                    std::chrono::milliseconds answer)
        : m_server(server),
          m_strFolder(std::move(folder)),
          m_random(seed) // NOLINT(cert-msc32-c,cert-msc51-cpp): the same at each run
    {
        EXPECT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(m_strFolder)));
        m_client.Init(paths.m_strRequestDir, paths.m_strOutputDir, m_strFolder);
        m_client.SetSyncing(false);
        m_client.SetCommandTimeout(answer);
    }

    void Send(const std::wstring& name)
    {
        const std::wstring path = platform::JoinPath(m_strFolder, name);
        EXPECT_EQ(platform::WriteWholeFile(path, "<Request/>"), platform::eOsError_None);
        EXPECT_EQ(m_client.SendRequest(path), eRequestStatus_Sent);
    }
    void PauseAndResume(const std::wstring& name)
    {
        if (m_client.PauseRequest(name) != eRequestStatus_Done)
            return; // it may be carried out late
        ++m_nPaused;
        EXPECT_TRUE(m_server.IsRequestPaused(name)) << testing::PrintToString(name);
        while (m_server.IsRequestPaused(name))
            static_cast<void>(m_client.PauseRequest(name));
    }
    void Disturb(const std::wstring& name)
    {
        if (m_random() % 16 == 0)
            PauseAndResume(name);
        if (m_random() % 4 == 0) {
            const eZelProcRequestStatus cancel = m_client.CancelRequest(name);
            EXPECT_TRUE(cancel == eRequestStatus_Done || cancel == eRequestStatus_ServerTimeout) << cancel;
        }
    }
    eZelProcRequestStatus Follow(const std::wstring& name, std::chrono::milliseconds patience)
    {
        const std::chrono::nanoseconds end = platform::Clock().Steady() + patience;
        for (;;) {
            const eZelProcRequestStatus status = m_watch.WaitForEnd(name, 200ms, nullptr);
            if (CZelRequestWatch::IsFinal(status) || platform::Clock().Steady() > end)
                return status;
            if (m_server.IsRequestPaused(name)) // late
                static_cast<void>(m_client.PauseRequest(name));
        }
    }

    [[nodiscard]] int Paused() const { return m_nPaused; }

private:
    const SServerParts m_server;
    const std::wstring m_strFolder;
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
                               static_cast<unsigned>(number), kAnswer);
        for (int count = 0; count < each; ++count) {
            const std::wstring name = std::to_wstring(number) + L"-" + std::to_wstring(count) + L".drq";
            client.Send(name);
            if (count == 0) { // the first ones have all slots, and the others wait
                EXPECT_TRUE(WaitUntil(
                    [&] { return Access().Requests().IsKnown(server.server.m_settings.m_paths.InQueue(name)); }));
                while (client.Paused() == 0 && server.IsRequestInQueue(name))
                    client.PauseAndResume(name);
                if (++waiting == kClients)
                    m_open.Set();
            }
            client.Disturb(name);
            const eZelProcRequestStatus status = client.Follow(name, kPatience);
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
    EXPECT_GT(paused, 0);
    for (const auto& [name, runs] : Entered())
        EXPECT_EQ(runs, 1) << testing::PrintToString(name);
    std::vector<std::wstring> queued = FilesIn(In(m_outputDir, L"Queue"));
    std::erase_if(queued, [](const std::wstring& name) { return name.ends_with(L".command"); }); // not carried out
    EXPECT_EQ(queued, std::vector<std::wstring>());
    EXPECT_EQ(FilesIn(m_requestDir), std::vector<std::wstring>());
    static_cast<void>(m_host.TakeBoxes()); // of these commands
    for (const auto& report : m_host.TakeReports())
        EXPECT_EQ(report.sourceLine, 345) << "a command that was not answered: " << platform::ToUtf8(report.message);
}
