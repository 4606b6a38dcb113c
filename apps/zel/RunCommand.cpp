#include "apps/zel/RunCommand.h"

#include "apps/zel/CommandClient.h"
#include "apps/zel/FileCopy.h"
#include "apps/zel/Receiver.h"
#include "apps/zel/RequestNames.h"
#include "apps/zel/Sender.h"
#include "apps/zel/StagingFolder.h"
#include "platform/ByteStream.h"
#include "platform/FileSystem.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include <CLI/CLI.hpp>
#include <algorithm>

using namespace std::chrono_literals;

namespace {

/// For the server to take a cancel, and for the task to see it; who has pressed Ctrl-C waits no longer.
constexpr std::chrono::milliseconds kCancelPatience = 10s;
constexpr auto kTakeBackStep = 10ms;

bool RefuseRun(const STextCode& code, const std::vector<std::wstring>& arguments = {})
{
    PrintUsageError(L"zel", ShownText(code, arguments));
    return false;
}

/// Nobody reads the name, so the ending of the file need not be that of a request.
std::wstring NameFromFile(const std::string& file)
{
    if (file == "-")
        return L"stdin.drq";
    const std::wstring own = platform::FileNameOf(platform::FromUtf8(file));
    return IsRequestName(own) ? own : own.substr(0, own.size() - platform::ExtensionOf(own).size()) + L".drq";
}

} // namespace

void CRunCommand::Define(CLI::App& app)
{
    app.add_option("FILE", m_file, HelpText(ToolTexts::IDS_HELP_RUN_FILE))->type_name("");
    m_task.Define(app);
    app.add_option("--name", m_given, HelpText(ToolTexts::IDS_HELP_RUN_NAME))->type_name("NAME");
    m_format.Define(app);
    app.add_option("-o,--output", m_target, HelpText(ToolTexts::IDS_HELP_RUN_OUTPUT))->type_name("FILE");
    m_timeout.Define(app, ToolTexts::IDS_HELP_RUN_TIMEOUT);
}

bool CRunCommand::Check()
{
    if (m_file.empty() != m_task.IsGiven())
        return RefuseRun(ToolTexts::IDS_FILES_OR_TASK);
    if (m_task.IsGiven() && !m_task.Check())
        return false;
    m_name = !m_given.empty() ? platform::FromUtf8(m_given) : m_task.IsGiven() ? m_task.Name() : NameFromFile(m_file);
    if (const std::wstring why = WhyNoRequestName(m_name); !why.empty())
        return RefuseRun(ToolTexts::IDS_CANNOT_BE_A_NAME, {m_name, why});
    // Nobody asks for it by its name: one file may run several times at once.
    if (m_given.empty() && !m_task.IsGiven())
        m_name = UniqueRequestName(m_name);
    return true;
}

int CRunCommand::Run(CToolSession& session)
{
    session.SetOutputTaken();
    session.SetTimeout(m_timeout.Take());
    std::wstring error;
    const std::wstring target = platform::FromUtf8(m_target);
    if (!m_target.empty() && !CReceiver::TryTarget(target, error))
        return session.FailWithHint(m_name, error);
    if (const eExitCode code = Send(session); code != eExitCode_Done)
        return code;
    SRequestState state;
    eFollowEnd end = eFollowEnd_Final;
    {
        CFollower follower(session);
        end = follower.Follow(m_name, state);
    }
    if (end != eFollowEnd_Final) {
        Withdraw(session);
        return end == eFollowEnd_Interrupted ? eExitCode_Interrupted
               : end == eFollowEnd_TimedOut  ? eExitCode_Timeout
                                             : eExitCode_ServerTimeout;
    }
    if (state.status == eRequestStatus_Done)
        return Print(session);
    if (session.Options().json)
        session.Print(state);
    PrintError(L"zel", ToText(state));
    CReceiver(session).Forget(state);
    return ExitCodeOf(state.status);
}

eExitCode CRunCommand::Send(CToolSession& session) const
{
    std::wstring error;
    CSender sender(session);
    const std::wstring file = platform::FromUtf8(m_file);
    const bool isSent = m_task.IsGiven() ? sender.SendText(TaskRequestXml(m_task.Request()), m_name, error)
                                         : sender.Send(file, m_name, error);
    if (isSent)
        return eExitCode_Done;
    const bool isMissing = !m_task.IsGiven() && file != kStandardStream && !platform::PathExists(file);
    return isMissing ? session.FailWithHint(m_name, error) : session.Fail(m_name, error);
}

eExitCode CRunCommand::Print(CToolSession& session) const
{
    std::wstring error;
    session.SetTimeout(kForever); // that of the request, which has ended
    const bool isWritten = WriteAnswer(session, error);
    if (!isWritten && session.IsInterrupted()) {
        Withdraw(session);
        return eExitCode_Interrupted;
    }
    if (!isWritten && !error.empty()) {
        const std::wstring kept = CReceiver(session).KeepElsewhere(m_name);
        if (!kept.empty())
            error += L"\n" + ShownText(ToolTexts::IDS_RESPONSE_KEPT, {kept});
        PrintError(L"zel", error);
        return eExitCode_ClientError;
    }
    for (const std::wstring& path : {session.OutputPath(m_name), session.StatusPath(m_name)}) {
        const platform::eOsError removed = RemoveWhenFree(path);
        if (!platform::Succeeded(removed))
            PrintError(L"zel", ShownText(ToolTexts::IDS_CANNOT_BE_DELETED, {path, platform::OsErrorText(removed)}));
    }
    return eExitCode_Done;
}

bool CRunCommand::WriteAnswer(CToolSession& session, std::wstring& error) const
{
    const ByteSource source = AnswerFile(session, session.OutputPath(m_name), error);
    if (!source)
        return false;
    if (m_target.empty() || m_target == "-")
        return ShowAnswer(session, source, m_name, m_format.Take(session.Options().json), error);
    return WriteFile(session, source, error);
}

/// Through a folder of its own, so that the target is there whole or not at all; a device is written into.
bool CRunCommand::WriteFile(CToolSession& session, const ByteSource& source, std::wstring& error) const
{
    const std::wstring target = platform::FromUtf8(m_target);
    const bool isFile = platform::SinkKind(target) == platform::eSinkKind_None;
    CStagingFolder staging(isFile ? platform::DirectoryOf(platform::AbsolutePath(target))
                                  : session.Options().requestDir);
    const std::wstring made = staging.FilePath(L"answer");
    return staging.Make(error) &&
           ShowAnswer(session, source, m_name, m_format.Take(session.Options().json), made, error) &&
           CReceiver::CopyTo(session, made, target, error);
}

void CRunCommand::Withdraw(CToolSession& session) const
{
    // The session's patience is over; this is the end of it.
    const auto end = platform::Clock().Steady() + std::min(kCancelPatience, session.Options().serverTimeout);
    // A server that keeps to the protocol alone cancels whatever runs in the place of one that it has not taken yet: it
    // must not be asked before.
    const bool isCanceled =
        TakeBack(session, end) || (!platform::PathExists(session.RequestPath(m_name)) && Cancel(session, end));
    if (isCanceled) {
        for (const std::wstring& path : {session.OutputPath(m_name), session.StatusPath(m_name)})
            static_cast<void>(RemoveWhenFree(path));
    }
    PrintError(L"zel", ShownText(isCanceled ? ToolTexts::IDS_RUN_CANCELED : ToolTexts::IDS_RUN_GOES_ON, {m_name}));
}

/// One that no server has taken is its sender's to take back, also when somebody has it open for a moment.
bool CRunCommand::TakeBack(CToolSession& session, std::chrono::nanoseconds end) const
{
    const std::wstring sent = session.RequestPath(m_name);
    while (platform::PathExists(sent)) {
        if (platform::Succeeded(platform::Files().Remove(sent)))
            return true;
        if (platform::Clock().Steady() >= end)
            return false;
        platform::Clock().SleepFor(kTakeBackStep);
    }
    return false;
}

bool CRunCommand::Cancel(CToolSession& session, std::chrono::nanoseconds end) const
{
    const auto left = [end] {
        return std::max(std::chrono::ceil<std::chrono::milliseconds>(end - platform::Clock().Steady()), 0ms);
    };
    const CMutedHost muted(session.Host());
    CCommandClient client(session);
    std::wstring error;
    if (!client.Open(error))
        return false;
    client.Client().SetGoOn([left] { return left() > 0ms; });
    client.Client().SetCommandTimeout(left());
    // A server that keeps to the protocol alone would stop another one in the place of one that has ended.
    if (CZelRequestWatch::IsFinal(client.Client().GetStatus(m_name, nullptr)))
        return true;
    if (client.Client().CancelRequest(m_name) != eRequestStatus_Done)
        return CZelRequestWatch::IsFinal(client.Client().GetStatus(m_name, nullptr));
    CZelRequestWatch watch(client.Client(), session.Options().outputDir);
    CZelProcessorClient::CAdditionalRequestStatus additional;
    return CZelRequestWatch::IsFinal(watch.WaitForEnd(m_name, left(), &additional));
}
