#include "tests/simulation/Actors.h"

#include "ZEL_Processor/ZelProcessorClient.h"
#include "ZEL_Processor/ZelProcessorContext.h"
#include "ZEL_Processor/ZelProcessorServer.h"
#include "ZEL_Processor/ZelRequestWatch.h"
#include "com/ComThread.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/simulation/Listener.h"

#include <atomic>
#include <memory>
#include <span>
#include <utility>

using namespace std::chrono_literals;

namespace sim {
namespace {

/// Far more than any request takes, restarts included.
constexpr std::chrono::minutes kPatience{5};
constexpr std::chrono::seconds kBetweenLooks{20};
/// Then the server is left alone, so that a history has an end.
constexpr std::size_t kMostDeaths = 4;
constexpr std::chrono::seconds kBetweenEvents{2};
/// A status that cannot be read may be so because of a call of this very client that failed.
constexpr int kOwnErrors = 3;

class CContext final : public CZelProcessorContext {
public:
    HRESULT GetHostService(REFIID /*iid*/, void** service) override
    {
        *service = nullptr;
        return E_NOINTERFACE;
    }
    bool IsClosing() override { return false; }
    void SetCanceled(bool canceled) override { m_isCanceled = canceled; }
    bool IsCanceled() override { return m_isCanceled; }

private:
    std::atomic<bool> m_isCanceled = false;
};

/// Writes what was put off until the status says that it is there.
class CLateResponses final : public CZelProcessorEvent {
public:
    explicit CLateResponses(SStage& stage) : m_stage(stage) {}
    void OnRequestDone() override
    {
        if (m_stage.lateResponse)
            std::exchange(m_stage.lateResponse, {})();
    }

private:
    SStage& m_stage;
};

} // namespace

CActor::CActor(SStage& stage, const std::wstring& name) : m_stage(stage), m_process(stage.world.AddProcess(name)) {}

CActor::~CActor()
{
    if (m_thread.joinable())
        m_stage.world.m_scheduler.Join(m_thread);
}

void CActor::Start(std::function<void()> part)
{
    m_hasEnded = false;
    static_cast<void>(m_stage.world.m_scheduler.Start(
        m_process,
        [this, part = std::move(part)] {
            const CComThread com;
            part();
            m_hasEnded = true;
        },
        m_thread));
}

CServerActor::CServerActor(SStage& stage) : CActor(stage, L"server")
{
    Start([this] { Serve(); });
}

void CServerActor::WaitUntilUp()
{
    m_stage.world.m_scheduler.WaitFor(kForever, [this] { return m_isUp || HasEnded(); });
}

void CServerActor::Stop()
{
    m_isStopAsked = true;
    m_stage.world.m_scheduler.WaitFor(kForever, [this] { return HasEnded(); });
}

void CServerActor::Serve()
{
    constexpr std::size_t someCalls = 250;
    CRandom& random = m_stage.world.m_random;
    if (m_stage.plan.killsServer && m_stage.world.m_deaths < kMostDeaths)
        Process().diesAt = 1 + random.Below(someCalls);
    CContext context;
    CZelProcessorServer server;
    server.SetOptions(m_stage.options);
    CLateResponses late(m_stage);
    server.SetZelProcessorContext(&context);
    server.SetZelProcessorEvent(&late);
    server.SetPalette(MakePalette().Get());
    if (!server.SetDirs(kRequestDir, kOutputDir) || !server.Run()) {
        if (!Process().isDead && m_stage.world.m_failures == 0)
            m_stage.checker.Blame("the server does not start");
        return;
    }
    if (m_stage.plan.failsInServer)
        Process().failsAt = Process().calls + 1 + random.Below(someCalls);
    m_isUp = true;
    CScheduler& scheduler = m_stage.world.m_scheduler;
    const auto isOver = [this] { return m_isStopAsked || Process().isDead; };
    std::thread teller; // who tells an event may have to wait until the server stops
    if (m_stage.hasListener) {
        const auto tell = [&] {
            const CComThread com;
            while (!scheduler.WaitFor(kBetweenEvents, isOver)) {
                if (m_stage.tellsEvents)
                    server.OnChangedDs(NextEvent(m_stage).Get());
            }
        };
        static_cast<void>(scheduler.Start(Process(), tell, teller));
    }
    scheduler.WaitFor(kForever, isOver);
    server.Stop(true);
    if (teller.joinable())
        scheduler.Join(teller);
}

CClientActor::CClientActor(SStage& stage, std::size_t number, std::size_t requests)
    : CActor(stage, L"client" + std::to_wstring(number)),
      m_folder(kClientFolder + std::to_wstring(number)),
      m_number(number),
      m_requests(requests)
{
    stage.world.m_disk.MakeDirectory(m_folder);
    Start([this] { Work(); });
}

void CClientActor::Work()
{
    constexpr std::size_t someCalls = 80;
    if (m_stage.plan.failsInClient)
        Process().failsAt = 1 + m_stage.world.m_random.Below(someCalls);
    if (m_stage.plan.killsClient)
        Process().diesAt = 1 + m_stage.world.m_random.Below(someCalls);
    m_client.Init(kRequestDir, kOutputDir, m_folder);
    m_client.SetSyncing(m_stage.options.syncing);
    for (std::size_t index = 0; index < m_requests && !Process().isDead; ++index) {
        SRequest& request =
            m_stage.checker.Add(L"c" + std::to_wstring(m_number) + L"r" + std::to_wstring(index) + L".drq");
        if (!Send(request))
            continue;
        if (m_stage.world.m_random.OneIn(8))
            Cancel(request);
        else if (m_stage.world.m_random.OneIn(8))
            static_cast<void>(m_client.PauseRequest(request.name)); // who waits for it lets it go on
        TakeAnswer(m_stage, m_folder, request);
    }
}

bool CClientActor::Send(SRequest& request)
{
    if (m_stage.writesInPlace && m_stage.world.m_random.OneIn(3))
        return WriteInPlace(request);
    const std::wstring path = platform::JoinPath(m_folder, request.name);
    if (!platform::Succeeded(platform::WriteWholeFile(path, CChecker::ContentOf(request))))
        return false;
    const eZelProcRequestStatus sent = m_client.SendRequest(path);
    if (Process().isDead)
        return false;
    (sent == eRequestStatus_Sent ? request.isHandedOver : request.isKept) = true;
    return request.isHandedOver;
}

bool CClientActor::WriteInPlace(SRequest& request)
{
    const std::string content = CChecker::ContentOf(request);
    const auto bytes = std::as_bytes(std::span(content));
    std::unique_ptr<platform::IFile> file;
    if (!platform::Succeeded(platform::Files().Open(platform::JoinPath(kRequestDir, request.name),
                                                    platform::eOpenMode_CreateExclusive, file)))
        return false;
    constexpr std::size_t longestMs = 3000;
    bool isWritten = true;
    for (const auto& part : {bytes.first(bytes.size() / 2), bytes.subspan(bytes.size() / 2)}) {
        platform::Clock().SleepFor(std::chrono::milliseconds(m_stage.world.m_random.Below(longestMs)));
        isWritten = isWritten && platform::Succeeded(file->Write(part));
    }
    request.isHandedOver = platform::Succeeded(file->Close()) && isWritten;
    return request.isHandedOver;
}

void CClientActor::Cancel(SRequest& request)
{
    request.isCancelAsked = true;
    static_cast<void>(m_client.CancelRequest(request.name));
}

namespace {

/// The status with which it ends. One that is paused, by whoever died before he let it go on, goes on.
eZelProcRequestStatus WaitForEnd(SStage& stage, CZelProcessorClient& client, const SRequest& request,
                                 std::string& comment)
{
    CZelProcessorClient::CAdditionalRequestStatus additional;
    CZelRequestWatch watch(client, kOutputDir);
    const nanoseconds end = stage.world.m_scheduler.Now() + kPatience;
    eZelProcRequestStatus status = eRequestStatus_NotIntialized;
    for (int errors = 0; stage.world.m_scheduler.Now() < end && !CWorld::Process().isDead;) {
        status = watch.WaitForEnd(request.name, kBetweenLooks, &additional);
        if (status == eRequestStatus_Paused)
            static_cast<void>(client.PauseRequest(request.name));
        const bool isOwn =
            status == eRequestStatus_ClientError && stage.world.m_failures != 0 && ++errors <= kOwnErrors;
        if (CZelRequestWatch::IsFinal(status) && !isOwn)
            break;
        platform::Clock().SleepFor(1s);
    }
    comment = platform::ToUtf8(additional.GetProgressComment());
    return status;
}

} // namespace

void TakeAnswer(SStage& stage, const std::wstring& folder, SRequest& request)
{
    const SProcess& self = CWorld::Process();
    CZelProcessorClient client;
    client.Init(kRequestDir, kOutputDir, folder);
    client.SetSyncing(stage.options.syncing);
    std::string comment;
    const eZelProcRequestStatus status = WaitForEnd(stage, client, request, comment);
    if (self.isDead)
        return;
    stage.world.Trace(platform::ToUtf8(request.name) + " ends with " + std::to_string(status));
    if (status != eRequestStatus_Done)
        return stage.checker.End(request, status, comment);
    const std::wstring target = platform::JoinPath(folder, request.name + L".answer");
    const bool isReceived = client.ReceiveOutput(request.name, target) ||
                            (stage.world.m_failures != 0 && client.ReceiveOutput(request.name, target));
    if (self.isDead)
        return;
    request.hasNoResponse = !isReceived;
    stage.checker.End(request, status, {});
    if (const FilePtr response = stage.world.m_disk.Find(target))
        stage.checker.Receive(request, response->content);
}

} // namespace sim
