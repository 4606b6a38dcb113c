#include "tests/simulation/Listener.h"

#include "com/ComObject.h"
#include "com/CreateInstance.h"
#include "platform/Os.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <string>

using namespace std::chrono_literals;

namespace sim {
namespace {

constexpr const wchar_t* kListenerFolder = L"/sim/listener";
/// Restarts of the server included, each of which may cost a registration's ten seconds.
constexpr std::chrono::minutes kPatienceOfListener{5};
constexpr std::size_t kEnough = 4;
/// No kind that means something.
constexpr LONG kFirstEvent = 1000;

class CQuietPalette final : public CComObject<IWQ_Palette> {
public:
    HRESULT STDMETHODCALLTYPE GetChangedGroups(IWQ_DsEventsData* /*event*/, IWQ_Project* /*project*/,
                                               VARIANT_BOOL* groupsChanged, IWQ_CLSIDArray** groups,
                                               VARIANT_BOOL* projectNeedsUpdate) override
    {
        *groupsChanged = VARIANT_FALSE;
        *groups = nullptr;
        *projectNeedsUpdate = VARIANT_FALSE;
        return S_OK;
    }
};

} // namespace

CComPtr<IWQ_Palette> MakePalette()
{
    return CComPtr<IWQ_Palette>(MakeComObject<CQuietPalette>().Get());
}

CComPtr<IWQ_DsEventsData> NextEvent(SStage& stage)
{
    auto event = CreateInstanceZEL<IWQ_DsEventsData>(kClsidDsEventsData);
    static_cast<void>(event->PutKind(kFirstEvent + stage.events++));
    return event;
}

CListenerActor::CListenerActor(SStage& stage) : CActor(stage, L"listener")
{
    stage.world.m_disk.MakeDirectory(kListenerFolder);
    Start([this] { Listen(); });
}

void CListenerActor::Listen()
{
    constexpr std::size_t someCalls = 150;
    if (m_stage.plan.failsInClient)
        Process().failsAt = 1 + m_stage.world.m_random.Below(someCalls);
    if (m_stage.plan.killsClient)
        Process().diesAt = 1 + m_stage.world.m_random.Below(someCalls);
    CZelProcessorClient client; // here: the thread that it has must end with the process
    client.Init(kRequestDir, kOutputDir, kListenerFolder);
    client.SetSyncing(m_stage.options.syncing);
    client.SetRegistersAgain(true);
    client.SetPresence(m_stage.options.presence);
    if (Register(client))
        Hear(client);
    CheckOrder();
    static_cast<void>(client.StopListeningDsEvents());
}

bool CListenerActor::Register(CZelProcessorClient& client)
{
    const nanoseconds end = m_stage.world.m_scheduler.Now() + kPatienceOfListener;
    while (!Process().isDead && m_stage.world.m_scheduler.Now() < end) {
        if (client.ListenDsEvents())
            return true;
        platform::Clock().SleepFor(1s);
    }
    if (!Process().isDead)
        m_stage.checker.Blame("a client cannot register");
    return false;
}

void CListenerActor::Hear(CZelProcessorClient& client)
{
    m_stage.tellsEvents = true;
    const nanoseconds end = m_stage.world.m_scheduler.Now() + kPatienceOfListener;
    while (m_heard.size() < kEnough && !Process().isDead && m_stage.world.m_scheduler.Now() < end) {
        std::vector<CComPtr<IWQ_DsEventsData>> events;
        if (client.IsNewDsEvent() && client.GetDsEvents(events)) {
            for (const CComPtr<IWQ_DsEventsData>& event : events) {
                LONG kind = eDsEventKind_Unknown;
                static_cast<void>(event->GetKind(&kind));
                m_heard.push_back(kind);
                m_stage.world.Trace("heard " + std::to_string(kind));
            }
        }
        platform::Clock().SleepFor(700ms);
    }
    m_stage.tellsEvents = false;
    if (m_heard.size() < kEnough && !Process().isDead)
        m_stage.checker.Blame("a registered client hears nothing more");
}

/// Each event in its order and once, or twice when the server was told that it could not write it. What a server that
/// died had not told is made good by "read everything again".
void CListenerActor::CheckOrder() const
{
    std::vector<LONG> numbers;
    std::ranges::copy_if(m_heard, std::back_inserter(numbers), [](LONG kind) { return kind >= kFirstEvent; });
    const auto isWrong = [mayRepeat = m_stage.world.m_failures != 0](LONG first, LONG second) {
        return first > second || (first == second && !mayRepeat);
    };
    if (std::ranges::adjacent_find(numbers, isWrong) != numbers.end())
        m_stage.checker.Blame("a registered client hears an event twice, or in another order");
    const bool isUndisturbed =
        m_stage.world.m_deaths == 0 && m_stage.world.m_cuts == 0 && m_stage.world.m_failures == 0;
    const bool hasAll = numbers.empty() || numbers.back() - numbers.front() == static_cast<LONG>(numbers.size()) - 1;
    if (isUndisturbed && (!hasAll || numbers.size() != m_heard.size()))
        m_stage.checker.Blame("a registered client misses an event");
}

} // namespace sim
