#include "tests/simulation/History.h"

#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/simulation/Actors.h"
#include "tests/simulation/Listener.h"
#include "tests/simulation/Threads.h"

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <vector>

namespace sim {
namespace {

constexpr const wchar_t* kHeirFolder = L"/sim/heir";
/// Far more than what kills it does.
constexpr std::size_t kMostRuns = 20;
/// Most histories have some more.
constexpr std::size_t kCallsBeforeCut = 400;
constexpr std::chrono::minutes kTimeToRun{1};
constexpr std::chrono::seconds kBetweenLooks{1};
constexpr std::chrono::hours kAges{24 * 36'500};

/// Threads that cannot end cannot be cleared away either, so the program ends with them.
[[noreturn]] void EndStuck(const SSettings& settings, const std::string& what)
{
    std::printf("%s: stuck: %s\n", CommandOf(settings).c_str(), what.c_str());
    std::fflush(stdout);
    std::_Exit(1);
}

void MakeDirectories(CDisk& disk)
{
    for (const wchar_t* const path : {L"/sim", kRequestDir, kOutputDir, kHeirFolder})
        disk.MakeDirectory(path);
}

std::vector<std::wstring> RequestFiles(const SStage& stage)
{
    std::vector<std::wstring> names;
    for (const std::wstring& directory : {std::wstring(kRequestDir), platform::JoinPath(kOutputDir, L"Queue")}) {
        for (const platform::SDirectoryEntry& entry : stage.world.m_disk.List(directory))
            if (entry.name.ends_with(L".drq")) // a command that failed leaves its file
                names.push_back(entry.name);
    }
    return names;
}

/// mayComeBack: a power cut may have brought back what had its end.
void CheckNothingLeft(SStage& stage, bool mayComeBack)
{
    for (const std::wstring& name : RequestFiles(stage)) {
        const SRequest* const request = stage.checker.Find(name);
        if (!mayComeBack || (request && request->ends.empty()))
            stage.checker.Blame("left behind: " + platform::ToUtf8(name));
    }
}

/// Who comes after those that died: takes what they have not taken.
class CHeir final : public CActor {
public:
    explicit CHeir(SStage& stage) : CActor(stage, L"heir")
    {
        Start([this] {
            for (auto& [name, request] : m_stage.checker.Requests()) {
                if (!request.isKept && request.ends.empty() && !HasAnswer(name) && IsKnown(request))
                    TakeAnswer(m_stage, kHeirFolder, request);
            }
        });
    }

private:
    /// Of one whose sender died over it nothing is promised.
    static bool IsKnown(const SRequest& request)
    {
        CZelProcessorClient client;
        client.Init(kRequestDir, kOutputDir, kHeirFolder);
        return request.isHandedOver || client.GetStatus(request.name, nullptr) != eRequestStatus_NotRequested;
    }
    /// Whoever died may have had it in his hands already.
    bool HasAnswer(const std::wstring& name)
    {
        constexpr std::size_t owner = 1; // of "c0r1.drq"
        const std::wstring folder = std::wstring(kClientFolder) + name[owner];
        const FilePtr answer = m_stage.world.m_disk.Find(platform::JoinPath(folder, name + L".answer"));
        if (!answer)
            return false;
        SRequest& request = *m_stage.checker.Find(name);
        m_stage.checker.End(request, eRequestStatus_Done, {});
        m_stage.checker.Receive(request, answer->content);
        return true;
    }
};

SPlan MakePlan(CRandom& random, bool hasPowerCuts)
{
    SPlan plan;
    switch (random.Below(hasPowerCuts ? 7 : 5)) {
    case 0: break;
    case 1: plan.failsInServer = true; break;
    case 2: plan.failsInClient = true; break;
    case 3: plan.killsClient = true; break;
    case 4: plan.killsServer = true; break;
    default: plan.cutsPower = true; break;
    }
    return plan;
}

SZelServerOptions MakeOptions(const SPlan& plan, CRandom& random)
{
    SZelServerOptions options;
    options.syncing = random.OneIn(2);
    options.cancelByName = true;
    options.pausedStatus = true;
    options.retryLastStatus = plan.failsInServer;
    options.resume = plan.failsInServer || plan.killsServer || plan.cutsPower || random.OneIn(4);
    options.interrupted = random.OneIn(4) ? eInterrupted_Fail : eInterrupted_Rerun;
    return options;
}

/// Nothing is so old that it goes, but all is looked at.
void AddCrowd(SStage& stage)
{
    CRandom& random = stage.world.m_random;
    if (random.OneIn(2))
        stage.options.keep = kAges;
    if (random.OneIn(2))
        stage.options.patience = std::chrono::milliseconds(20);
    stage.options.slots = static_cast<unsigned>(1 + random.Below(3));
    // Of who dies, or fails, while he writes in the place of all others nothing is promised.
    stage.writesInPlace = !stage.plan.killsClient && !stage.plan.failsInClient && !stage.plan.cutsPower;
}

void AddListener(SStage& stage)
{
    stage.hasListener = true;
    stage.options.ownLists = stage.world.m_random.OneIn(2);
    stage.options.presence = stage.world.m_random.OneIn(2);
}

/// For people who look at a history.
std::string Described(const SStage& stage)
{
    const SPlan& plan = stage.plan;
    std::string text = plan.failsInServer   ? "a call of the server fails"
                       : plan.failsInClient ? "calls of clients fail"
                       : plan.killsClient   ? "clients die"
                       : plan.killsServer   ? "the server dies"
                       : plan.cutsPower     ? "the power is cut"
                                            : "all goes well";
    text += stage.options.syncing ? ", syncing" : "";
    text += stage.options.resume ? ", resumed" : "";
    text += stage.options.keep != std::chrono::seconds(0) ? ", looking for old files" : "";
    text += stage.options.patience ? ", with patience" : "";
    text += stage.options.slots != 1 ? ", " + std::to_string(stage.options.slots) + " at once" : "";
    text += !stage.hasListener ? "" : stage.options.ownLists ? ", lists of their own" : ", one list";
    text += stage.options.presence ? ", presence" : "";
    return text + (stage.options.interrupted == eInterrupted_Fail ? ", interrupted ones fail" : "");
}

CChecker::SExcuses ExcusesOf(const SStage& stage)
{
    const CWorld& world = stage.world;
    const bool isInterrupted = world.m_deaths != 0 || world.m_cuts != 0;
    const bool isUnsynced = world.m_cuts != 0 && !stage.options.syncing;
    return {.mayFail = world.m_failures != 0 || isInterrupted,
            .mayRunAgain = isUnsynced || (isInterrupted && stage.options.interrupted == eInterrupted_Rerun),
            .mayLose = isUnsynced};
}

/// The server, started again whenever it has died.
class CService {
public:
    explicit CService(SStage& stage) : m_stage(stage) { Start(); }
    ~CService() { m_runs.back()->Stop(); }
    CService(const CService&) = delete;
    CService& operator=(const CService&) = delete;

    void KeepUpFor(const CActor& actor)
    {
        KeepUpUntil([&] { return actor.HasEnded(); });
    }
    /// What a cut has left is put right by the next start, and what waits then is run.
    void PutRightAfterCut()
    {
        const auto isUp = [this] { return m_runs.back()->IsUp(); };
        KeepUpUntil([&] { return m_runs.size() > 1 && isUp(); });
        const nanoseconds end = m_stage.world.m_scheduler.Now() + kTimeToRun;
        KeepUpUntil([&] { return RequestFiles(m_stage).empty() || m_stage.world.m_scheduler.Now() >= end; },
                    kBetweenLooks);
    }

private:
    void KeepUpUntil(const std::function<bool()>& hasEnded, std::chrono::milliseconds betweenLooks = kForever)
    {
        while (!hasEnded()) {
            const CServerActor& server = *m_runs.back();
            m_stage.world.m_scheduler.WaitFor(betweenLooks, [&] { return hasEnded() || server.HasEnded(); });
            if (server.HasEnded())
                Start();
        }
    }
    void Start()
    {
        if (m_runs.size() == kMostRuns)
            m_stage.world.m_scheduler.m_onStuck("the server ends each time that it is started");
        m_runs.push_back(std::make_unique<CServerActor>(m_stage));
        if (m_runs.size() == 1)
            m_runs.back()->WaitUntilUp();
    }

    SStage& m_stage;
    std::vector<std::unique_ptr<CServerActor>> m_runs;
};

void Play(SStage& stage)
{
    CRandom& random = stage.world.m_random;
    CService service(stage);
    std::vector<std::unique_ptr<CClientActor>> clients;
    const std::size_t count = 1 + random.Below(3);
    for (std::size_t number = 0; number < count; ++number)
        clients.push_back(std::make_unique<CClientActor>(stage, number, 1 + random.Below(2)));
    if (stage.plan.cutsPower)
        stage.world.m_cutAt = stage.world.m_calls + 1 + random.Below(kCallsBeforeCut);
    const std::unique_ptr<CListenerActor> listener =
        stage.hasListener ? std::make_unique<CListenerActor>(stage) : nullptr;
    for (const auto& client : clients)
        service.KeepUpFor(*client);
    if (listener)
        service.KeepUpFor(*listener);
    stage.world.m_cutAt = 0;
    if (stage.world.m_cuts != 0)
        service.PutRightAfterCut();
    const CHeir heir(stage);
    service.KeepUpFor(heir);
}

} // namespace

std::string CommandOf(const SSettings& settings)
{
    std::string command = "simulation --manner ";
    command += settings.manner == eManner_Linux ? "linux" : "windows";
    command += settings.hasPowerCuts ? " --power" : "";
    command += settings.hasCrowd ? " --crowd" : "";
    command += settings.hasListener ? " --listener" : "";
    if (settings.planted != ePlanted_None)
        command.append(" --planted ").append(kPlantedNames[settings.planted]);
    return command + " --seed " + std::to_string(settings.seed);
}

SResult RunHistory(const SSettings& settings)
{
    const platform::CScopedOs os(nullptr, nullptr, &SimulatedThreads());
    CWorld world(settings);
    world.m_scheduler.m_onStuck = [&settings](const std::string& what) { EndStuck(settings, what); };
    CChecker checker;
    SStage stage{world, checker, {}, MakePlan(world.m_random, settings.hasPowerCuts), {}};
    stage.options = MakeOptions(stage.plan, world.m_random);
    if (settings.hasCrowd)
        AddCrowd(stage);
    if (settings.hasListener)
        AddListener(stage);
    world.Trace(Described(stage));
    SetStage(&stage);
    MakeDirectories(world.m_disk);
    Play(stage);
    const CChecker::SExcuses excuses = ExcusesOf(stage);
    checker.CheckAll(excuses);
    // What a power cut has brought back of a request and of the command that paused it is nobody's any more.
    if (world.m_failures == 0)
        CheckNothingLeft(stage, excuses.mayLose);
    SetStage(nullptr);
    return {checker.Faults(), world.Sum(), world.m_calls};
}

} // namespace sim
