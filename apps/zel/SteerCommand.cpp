#include "apps/zel/SteerCommand.h"

#include "ZEL_Processor/ZelRequestWatch.h"
#include "apps/zel/ServerWatch.h"
#include "platform/Text.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fmt/format.h>

void CSteerCommand::Define(CLI::App& app)
{
    app.add_option("NAME", m_given, HelpText(ToolTexts::IDS_HELP_NAMES))->required()->type_name("");
}

bool CSteerCommand::Check()
{
    m_names = ToRequestNames(m_given);
    return CheckRequestNames(m_names);
}

int CSteerCommand::Run(CToolSession& session)
{
    CServerWatch::TellWhenDead(session);
    CCommandClient client(session);
    std::wstring error;
    const bool isOpen = client.Open(error);
    eExitCode code = eExitCode_Done;
    for (const std::wstring& name : m_names) {
        if (session.IsInterrupted())
            return FirstFailure(code, eExitCode_Interrupted);
        code = FirstFailure(code, isOpen ? SteerByName(session, client.Client(), name) : session.Fail(name, error));
    }
    return code;
}

eExitCode CSteerCommand::SteerByName(CToolSession& session, CZelProcessorClient& client, const std::wstring& name)
{
    eExitCode code = eExitCode_Done;
    const std::optional<SRequestState> before = session.Look(client, name, code);
    if (!before)
        return code;
    const STarget target{session, client, *before};
    const eZelProcRequestStatus status = target.state.status;
    if (status != eRequestStatus_NotRequested && status != eRequestStatus_ClientError)
        return Steer(target);
    session.Print(target.state);
    return ExitCodeOf(status);
}

eExitCode CSteerCommand::Refuse(const STarget& target, const STextCode& code, std::vector<std::wstring> arguments)
{
    arguments.insert(arguments.begin(), target.state.name);
    return target.session.Fail(target.state.name, ShownText(code, arguments));
}

eExitCode CSteerCommand::RefuseEnded(const STarget& target)
{
    return Refuse(target, ToolTexts::IDS_HAS_ENDED, {StatusWord(target.state.status)});
}

eZelProcRequestStatus CSteerCommand::Ask(const STarget& target, Command command)
{
    const CMutedHost muted(target.session.Host());
    return (target.client.*command)(target.state.name);
}

bool CSteerCommand::TakesCommand(const STarget& target, const std::wstring& word)
{
    const SZelServerInfo server = target.client.GetServerInfo();
    const bool tells = server.presence == eServerPresence_Serves && !server.version.empty();
    return !tells || std::ranges::find(server.commands, word) != server.commands.end();
}

eExitCode CSteerCommand::Fail(const STarget& target, eZelProcRequestStatus answer)
{
    const bool isWithdrawn = target.client.IsCommandWithdrawn();
    if (target.session.HasGivenUp())
        return Refuse(target, isWithdrawn ? ToolTexts::IDS_COMMAND_WITHDRAWN : ToolTexts::IDS_COMMAND_INTERRUPTED);
    if (answer == eRequestStatus_ServerTimeout)
        return Fail(target, answer,
                    TimeText(target, isWithdrawn ? ToolTexts::IDS_COMMAND_TIMED_OUT : ToolTexts::IDS_COMMAND_TAKEN));
    return Fail(target, answer,
                WQ_ModuleText(ToolTexts::IDS_COMMAND_FAILED) + L": " + OneLine(target.client.GetLastErrorText()));
}

eExitCode CSteerCommand::FailUnasked(const STarget& target)
{
    return Fail(target, eRequestStatus_ServerTimeout, TimeText(target, ToolTexts::IDS_COMMAND_TIMED_OUT));
}

std::wstring CSteerCommand::TimeText(const STarget& target, const STextCode& code)
{
    const std::chrono::duration<double> time = target.session.Options().serverTimeout;
    return ShownText(code, {platform::FromUtf8(fmt::format("{}", time.count()))});
}

eExitCode CSteerCommand::Fail(const STarget& target, eZelProcRequestStatus answer, const std::wstring& comment)
{
    SRequestState state;
    state.name = target.state.name;
    state.status = answer;
    state.comment = comment;
    PrintError(L"zel", L"'" + state.name + L"': " + state.comment);
    if (target.session.Options().json)
        target.session.Print(state);
    return ExitCodeOf(answer);
}

void CSteerCommand::Tell(const STarget& target, const SRequestState& after, const std::wstring& word)
{
    if (target.session.Options().json)
        target.session.Print(after);
    else if (!target.session.Options().quiet)
        static_cast<void>(
            platform::WriteConsoleText(platform::eStream_Output, ShownName(after.name) + L": " + word + L"\n"));
}

bool CSteerCommand::IsRunning(eZelProcRequestStatus status)
{
    return status != eRequestStatus_Waiting && status != eRequestStatus_Paused && !CZelRequestWatch::IsFinal(status);
}
