#include "apps/zel/DrainCommand.h"

#include "platform/Os.h"

#include <CLI/CLI.hpp>
#include <chrono>

using namespace std::chrono_literals;

namespace {

constexpr auto kLookPause = 100ms;

/// Where locks of other machines are not seen, a server that has ended says so by what it publishes.
bool IsStillThere(const SZelServerInfo& before, const SZelServerInfo& now)
{
    if (now.process != before.process || (before.started != 0 && now.started != 0 && now.started != before.started) ||
        now.presence == eServerPresence_None)
        return false;
    return now.presence == eServerPresence_Serves || now.started != 0;
}

} // namespace

void CDrainCommand::Define(CLI::App& app)
{
    app.add_flag("--wait", m_bWait, HelpText(ToolTexts::IDS_HELP_DRAIN_WAIT));
    m_timeout.Define(app, ToolTexts::IDS_HELP_DRAIN_TIMEOUT);
}

int CDrainCommand::Run(CToolSession& session)
{
    session.SetTimeout(m_timeout.Take());
    return CQueueCommand::Run(session);
}

eExitCode CDrainCommand::Steer(const STarget& target)
{
    const SZelServerInfo before = target.client.GetServerInfo();
    const eExitCode code = CQueueCommand::Steer(target);
    if (code != eExitCode_Done || !m_bWait)
        return code;
    while (IsStillThere(before, target.client.GetServerInfo())) {
        if (!target.session.GoOn())
            return target.session.Fail(target.state.name, WQ_ModuleText(ToolTexts::IDS_STILL_DRAINS));
        platform::Clock().SleepFor(kLookPause);
    }
    return eExitCode_Done;
}
