#include "apps/zel/ServerWatch.h"

#include "platform/Os.h"
#include "platform/Text.h"

#include "ToolTexts.h"

#include <ctime>
#include <fmt/chrono.h>

using namespace std::chrono_literals;

namespace {

constexpr auto kServerLookPause = 500ms;

void TellDead(const CToolSession& session, const SZelServerInfo& server)
{
    const std::wstring since = server.ended != 0 ? LocalTimeText(server.ended) : std::wstring();
    const std::wstring& directory = session.Options().outputDir;
    PrintError(L"zel", since.empty() ? ShownText(ToolTexts::IDS_NO_SERVER, {directory})
                                     : ShownText(ToolTexts::IDS_NO_SERVER_SINCE, {directory, since}));
}

} // namespace

bool CServerWatch::Look()
{
    const std::chrono::nanoseconds now = platform::Clock().Steady();
    if (m_lastLook && now - *m_lastLook < kServerLookPause)
        return true;
    m_lastLook = now;
    const SZelServerInfo server = m_session.Client().GetServerInfo();
    if (server.presence != eServerPresence_None) {
        if (m_missingSince && server.presence == eServerPresence_Serves)
            PrintError(L"zel", ShownText(ToolTexts::IDS_SERVER_IS_BACK, {m_session.Options().outputDir}));
        m_missingSince.reset();
        return true;
    }
    if (!m_missingSince) {
        TellDead(m_session, server);
        m_missingSince = now;
    }
    return now - *m_missingSince < m_session.Options().serverAbsence;
}

void CServerWatch::TellWhenDead(CToolSession& session)
{
    if (const SZelServerInfo server = session.Client().GetServerInfo(); server.presence == eServerPresence_None)
        TellDead(session, server);
}

void CServerWatch::TellWhenDeadOrHeld(CToolSession& session)
{
    TellWhenDead(session);
    if (session.Client().GetServerInfo().isHeld)
        PrintError(L"zel", ShownText(ToolTexts::IDS_QUEUE_HELD, {session.Options().outputDir}));
}

std::wstring LocalTimeText(std::int64_t seconds)
{
    try {
        return platform::FromUtf8(fmt::format("{:%F %T}", fmt::localtime(static_cast<std::time_t>(seconds))));
    } catch (const fmt::format_error&) {
        return {};
    }
}
