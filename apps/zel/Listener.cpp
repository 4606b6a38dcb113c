#include "apps/zel/Listener.h"

#include "ZEL_Processor/ZelRequestWatch.h"
#include "apps/zel/EventText.h"
#include "apps/zel/FileCopy.h"
#include "platform/FileSystem.h"
#include "platform/Os.h"

#include "ToolTexts.h"

#include <chrono>

using namespace std::chrono_literals;

namespace {

/// What the server holds is asked for again after this time, so often at most.
constexpr auto kRetryPause = 100ms;
constexpr int kMaxRetries = 20;

bool HasNews(const std::wstring& path)
{
    platform::SFileAttributes attributes;
    return platform::Succeeded(platform::Files().GetAttributes(path, attributes)) && attributes.length != 0;
}

} // namespace

CListener::CListener(CToolSession& session) : m_session(session), m_client(session), m_server(session) {}

CListener::~CListener() = default;

eExitCode CListener::Register()
{
    std::wstring error;
    if (!m_client.Open(error)) {
        PrintError(L"zel", error);
        return eExitCode_ClientError;
    }
    m_client.Client().SetPresence(true);
    m_client.Client().SetRegistersAgain(true);
    for (bool isRegistered = false; !isRegistered;) {
        if (!WaitForServer()) {
            const bool isStopped = m_session.IsInterrupted();
            PrintError(L"zel", WQ_ModuleText(isStopped ? ToolTexts::IDS_LISTENING_INTERRUPTED
                                                       : ToolTexts::IDS_NO_SERVER_TO_HEAR));
            return isStopped ? eExitCode_Interrupted : eExitCode_ServerTimeout;
        }
        const auto start = platform::Clock().Steady();
        isRegistered = Ask([this] { return m_client.Client().ListenDsEvents(); });
        if (!isRegistered && (m_session.HasGivenUp() || !IsServerGone()))
            return TellNotRegistered(start);
    }
    m_strEventsFile = m_client.Client().GetDsEventsFileFullPath();
    if (!m_session.Options().quiet)
        platform::WriteConsoleText(platform::eStream_Error, WQ_ModuleText(ToolTexts::IDS_LISTENING) + L"\n");
    return eExitCode_Done;
}

bool CListener::WaitForServer()
{
    while (m_server.Look()) {
        if (!m_server.IsMissing())
            return true;
        if (m_session.IsInterrupted())
            return false;
        platform::Clock().SleepFor(kRetryPause);
    }
    return false;
}

bool CListener::Ask(const std::function<bool()>& question)
{
    m_client.Client().SetGoOn([this] {
        if (!m_session.GoOn())
            return false;
        static_cast<void>(m_server.Look()); // how long none was there is asked elsewhere
        if (m_server.IsMissing() && !m_muted)
            m_muted.emplace(m_session.Host()); // what one that is not there does not do was told
        return !m_muted;
    });
    const bool isAnswered = question();
    m_session.SetUp(m_client.Client());
    m_muted.reset();
    return isAnswered;
}

bool CListener::IsServerGone()
{
    return m_session.Client().GetServerInfo().presence == eServerPresence_None;
}

eExitCode CListener::TellNotRegistered(std::chrono::nanoseconds start)
{
    if (m_session.HasGivenUp()) {
        PrintError(L"zel",
                   WQ_ModuleText(m_client.Client().IsCommandWithdrawn() ? ToolTexts::IDS_REGISTRATION_WITHDRAWN
                                                                        : ToolTexts::IDS_REGISTRATION_INTERRUPTED));
        return eExitCode_Interrupted;
    }
    // Only a server that does not answer takes so long.
    const bool isTimeout = platform::Clock().Steady() - start >= m_session.Options().serverTimeout;
    PrintError(L"zel", WQ_ModuleText(isTimeout ? ToolTexts::IDS_CANNOT_HEAR : ToolTexts::IDS_NOT_REGISTERED));
    return isTimeout ? eExitCode_ServerTimeout : eExitCode_ServerError;
}

eExitCode CListener::Listen()
{
    const eExitCode code = TellUntilStopped();
    const std::wstring leftovers[] = {m_client.Client().GetInsertableItemsChangeFile(),
                                      m_client.Client().GetLockResultsChangeFile()};
    Leave();
    // The system may remember a name for a second that another machine has removed.
    for (int look = 0; code == eExitCode_Done && platform::PathExists(m_strEventsFile) && look < kMaxRetries; ++look)
        platform::Clock().SleepFor(kRetryPause);
    if (!platform::PathExists(m_strEventsFile)) {
        // A server leaves them, and nobody else knows whose they are.
        for (const std::wstring& path : leftovers)
            static_cast<void>(RemoveWhenFree(path));
        return code;
    }
    if (code != eExitCode_Done)
        return code;
    PrintError(L"zel", WQ_ModuleText(ToolTexts::IDS_REGISTRATION_STAYS));
    return eExitCode_ServerTimeout;
}

void CListener::Leave()
{
    if (!IsServerGone()) {
        m_client.End();
        return;
    }
    // Nobody is there to be told. The next server takes a client without this file for one that has left; a command
    // would leave it an answer that nobody reads.
    const CMutedHost muted(m_session.Host());
    m_client.Client().Init(m_client.Folder().Path(), m_session.Options().outputDir, m_client.Folder().Path());
    m_client.Client().SetCommandTimeout(0ms);
    m_client.End();
    static_cast<void>(RemoveWhenFree(m_strEventsFile));
}

eExitCode CListener::TellUntilStopped()
{
    // What changes while something is taken counts for the next wait, so nothing is missed between the two.
    CZelRequestWatch watch(m_client.Client(), m_session.Options().outputDir);
    int failures = 0;
    bool isRegistered = true;
    while (!m_session.IsInterrupted() && !m_bOutputGone) {
        if (!m_server.Look()) {
            PrintError(L"zel", WQ_ModuleText(ToolTexts::IDS_NO_SERVER_TO_HEAR));
            return eExitCode_ServerTimeout;
        }
        const bool isChanged = watch.WaitForChange(failures == 0 ? CToolSession::kInterruptLatency : kRetryPause);
        if (!isChanged && failures == 0 && isRegistered)
            continue;
        if (IsRegistrationGone()) {
            if (const eExitCode code = RegisterAgain(); code != eExitCode_Done)
                return code;
            isRegistered = !m_server.IsMissing();
        }
        if (!isRegistered)
            continue;
        failures = TakeAll() ? 0 : failures + 1;
        if (failures > kMaxRetries) {
            PrintError(L"zel", WQ_ModuleText(ToolTexts::IDS_CANNOT_BE_HEARD));
            return eExitCode_ClientError;
        }
        if (failures != 0)
            platform::Clock().SleepFor(kRetryPause);
    }
    return eExitCode_Done;
}

eExitCode CListener::RegisterAgain()
{
    // Without a server the loop goes on, which says so, looks for one and knows when to end.
    while (m_server.Look() && !m_server.IsMissing()) {
        const auto start = platform::Clock().Steady();
        if (Ask([this] { return TellNewEvents(); })) {
            m_strEventsFile = m_client.Client().GetDsEventsFileFullPath();
            return eExitCode_Done;
        }
        if (m_session.HasGivenUp() || !IsServerGone()) {
            PrintError(L"zel", WQ_ModuleText(ToolTexts::IDS_REGISTRATION_GONE));
            return TellNotRegistered(start);
        }
    }
    return eExitCode_Done;
}

bool CListener::TakeAll()
{
    // One after the other even when one fails: they lie in different files.
    const bool areEventsTaken = TakeEvents();
    const bool areGroupsTaken = TakeGroups();
    return TakeLockResults() && areGroupsTaken && areEventsTaken;
}

bool CListener::TakeEvents()
{
    return !HasNews(m_strEventsFile) || TellNewEvents();
}

bool CListener::TellNewEvents()
{
    std::vector<CComPtr<IWQ_DsEventsData>> events;
    if (!m_client.Client().GetDsEvents(events))
        return false;
    for (const CComPtr<IWQ_DsEventsData>& event : events)
        Tell(EventToJson(*event), EventToText(*event));
    return true;
}

bool CListener::TakeGroups()
{
    if (!HasNews(m_client.Client().GetInsertableItemsChangeFile()))
        return true;
    CComPtr<IWQ_CLSIDArray> groups;
    if (!m_client.Client().GetChangedInsertableItemsGroups(groups.Put()))
        return false;
    Tell(GroupsToJson(groups.Get()), GroupsToText(groups.Get()));
    return true;
}

bool CListener::TakeLockResults()
{
    if (!HasNews(m_client.Client().GetLockResultsChangeFile()))
        return true;
    if (!m_client.Client().ResetLockResultsChanged())
        return false;
    Tell(LockResultsToJson(), LockResultsToText());
    return true;
}

bool CListener::IsRegistrationGone()
{
    if (platform::PathExists(m_strEventsFile))
        return false;
    platform::Clock().SleepFor(kRetryPause);
    return !platform::PathExists(m_strEventsFile);
}

void CListener::Tell(const std::wstring& json, const std::wstring& text)
{
    if (m_session.Options().json)
        m_bOutputGone |= !platform::WriteConsoleText(platform::eStream_Output, json + L"\n");
    else if (!m_session.Options().quiet)
        m_bOutputGone |= !platform::WriteConsoleText(platform::eStream_Output, text + L"\n");
}
