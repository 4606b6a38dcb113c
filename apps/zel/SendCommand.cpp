#include "apps/zel/SendCommand.h"

#include "apps/zel/FileCopy.h"
#include "apps/zel/Receiver.h"
#include "apps/zel/RequestNames.h"
#include "apps/zel/Sender.h"
#include "platform/FileSystem.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include <CLI/CLI.hpp>
#include <set>

namespace {

bool UsageError(const STextCode& code, const std::vector<std::wstring>& arguments = {})
{
    PrintUsageError(L"zel", WQ_ModuleText(code, arguments));
    return false;
}

} // namespace

void CSendCommand::Define(CLI::App& app)
{
    app.add_option("FILE", m_files, HelpText(ToolTexts::IDS_HELP_FILES))->required()->type_name("");
    app.add_option("--name", m_name, HelpText(ToolTexts::IDS_HELP_SEND_NAME))->type_name("NAME");
    app.add_flag("--move", m_bMove, HelpText(ToolTexts::IDS_HELP_SEND_MOVE));
    app.add_flag("--wait", m_bWait, HelpText(ToolTexts::IDS_HELP_SEND_WAIT));
    app.add_option("-o,--output", m_target, HelpText(ToolTexts::IDS_HELP_SEND_OUTPUT))->type_name("TARGET");
    m_timeout.Define(app, ToolTexts::IDS_HELP_SEND_TIMEOUT);
}

bool CSendCommand::Check()
{
    m_bWait = m_bWait || !m_target.empty();
    return MakeItems() && CheckTarget();
}

bool CSendCommand::MakeItems()
{
    if (!m_name.empty() && m_files.size() > 1)
        return UsageError(ToolTexts::IDS_NAME_FOR_ONE_FILE);
    std::set<std::wstring> names;
    for (const std::wstring& file : ToWide(m_files)) {
        const std::wstring name = m_name.empty() ? platform::FileNameOf(file) : platform::FromUtf8(m_name);
        if (const std::wstring why = WhyNoRequestName(name); !why.empty())
            return UsageError(ToolTexts::IDS_CANNOT_BE_A_NAME, {name, why});
        if (!names.insert(name).second)
            return UsageError(ToolTexts::IDS_SAME_NAME_TWICE, {name});
        m_items.push_back({.source = file, .name = name});
    }
    return true;
}

bool CSendCommand::CheckTarget() const
{
    const std::wstring target = platform::FromUtf8(m_target);
    if (m_items.size() > 1 && !target.empty() && !platform::DirectoryExists(target))
        return UsageError(ToolTexts::IDS_OUTPUT_FOR_SEVERAL_FILES);
    return true;
}

int CSendCommand::Run(CToolSession& session)
{
    if (m_bWait)
        session.SetTimeout(m_timeout.Take());
    for (SItem& item : m_items) {
        if (session.IsInterrupted())
            return eExitCode_Interrupted;
        item.code = SendItem(session, item);
    }
    if (m_bWait && FinishItems(session) == eFollowEnd_Interrupted)
        return eExitCode_Interrupted;
    eExitCode code = eExitCode_Done;
    for (const SItem& item : m_items)
        code = FirstFailure(code, item.code);
    return code;
}

eFollowEnd CSendCommand::FinishItems(CToolSession& session)
{
    session.SetTimeout(m_timeout.Take()); // anew: what the sending took does not count
    CFollower follower(session);
    eFollowEnd end = eFollowEnd_Final;
    for (SItem& item : m_items) {
        if (!item.isSent)
            continue;
        SRequestState state;
        end = follower.Follow(item.name, state);
        if (end == eFollowEnd_Final) {
            item.code = FirstFailure(item.code, Collect(session, state));
            continue;
        }
        session.Print(state);
        item.code = FirstFailure(item.code, CFollower::ReportEnd(end, item.name));
        if (end == eFollowEnd_Interrupted)
            break;
    }
    return end;
}

eExitCode CSendCommand::SendItem(CToolSession& session, SItem& item)
{
    std::wstring error;
    item.isSent = CSender(session).Send(item.source, item.name, error);
    if (!item.isSent)
        return session.Fail(item.name, error);
    eExitCode code = eExitCode_Done;
    if (m_bMove) {
        const platform::eOsError removed = RemoveWhenFree(item.source);
        if (!platform::Succeeded(removed)) {
            PrintError(L"zel", WQ_ModuleText(ToolTexts::IDS_SENT_BUT_NOT_DELETED,
                                             {item.source, platform::OsErrorText(removed)}));
            code = eExitCode_ClientError;
        }
    }
    if (!m_bWait) {
        SRequestState state;
        state.name = item.name;
        state.status = eRequestStatus_Sent;
        session.Print(state);
    }
    return code;
}

eExitCode CSendCommand::Collect(CToolSession& session, const SRequestState& state)
{
    CReceiver receiver(session);
    if (state.status == eRequestStatus_Done && !m_target.empty()) {
        std::wstring error;
        const std::wstring target = CReceiver::TargetFor(platform::FromUtf8(m_target), state.name);
        if (!receiver.Receive(state.name, target, error))
            return session.Fail(state.name, error);
    }
    session.Print(state);
    receiver.Forget(state);
    return ExitCodeOf(state.status);
}
