#include "apps/zel/SendCommand.h"

#include "apps/zel/FileCopy.h"
#include "apps/zel/Receiver.h"
#include "apps/zel/RequestNames.h"
#include "apps/zel/Sender.h"
#include "platform/FileSystem.h"
#include "platform/Installation.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <set>

namespace {

bool UsageError(const STextCode& code, const std::vector<std::wstring>& arguments = {})
{
    PrintUsageError(L"zel", ShownText(code, arguments));
    return false;
}

bool HasVanishingBar()
{
    return platform::IsTerminal(platform::eStream_Error) && platform::IsTerminal(platform::eStream_Output);
}

} // namespace

void CSendCommand::Define(CLI::App& app)
{
    app.add_option("FILE", m_files, HelpText(ToolTexts::IDS_HELP_FILES))->type_name("");
    m_task.Define(app);
    app.add_option("--name", m_name, HelpText(ToolTexts::IDS_HELP_SEND_NAME))->type_name("NAME");
    app.add_flag("--unique", m_bUnique, HelpText(ToolTexts::IDS_HELP_SEND_UNIQUE));
    app.add_flag("--move", m_bMove, HelpText(ToolTexts::IDS_HELP_SEND_MOVE));
    app.add_flag("--wait", m_bWait, HelpText(ToolTexts::IDS_HELP_SEND_WAIT));
    app.add_flag("--keep", m_bKeep, HelpText(ToolTexts::IDS_HELP_SEND_KEEP));
    app.add_option("-o,--output", m_target, HelpText(ToolTexts::IDS_HELP_SEND_OUTPUT))->type_name("TARGET");
    m_timeout.Define(app, ToolTexts::IDS_HELP_SEND_TIMEOUT);
}

bool CSendCommand::Check()
{
    m_bWait = m_bWait || !m_target.empty();
    if (m_files.empty() != m_task.IsGiven())
        return UsageError(ToolTexts::IDS_FILES_OR_TASK);
    return (m_task.IsGiven() ? MakeTaskItem() : MakeItems()) && CheckTarget();
}

bool CSendCommand::MakeTaskItem()
{
    if (m_bMove)
        return UsageError(ToolTexts::IDS_MOVE_NEEDS_FILES);
    if (!m_task.Check())
        return false;
    const std::wstring name = m_name.empty() ? m_task.Name() : platform::FromUtf8(m_name);
    if (const std::wstring why = WhyNoRequestName(name); !why.empty())
        return UsageError(ToolTexts::IDS_CANNOT_BE_A_NAME, {name, why});
    m_items.push_back({.source = {}, .name = m_bUnique && !m_name.empty() ? UniqueRequestName(name) : name});
    return true;
}

bool CSendCommand::MakeItems()
{
    if (!m_name.empty() && m_files.size() > 1)
        return UsageError(ToolTexts::IDS_NAME_FOR_ONE_FILE);
    std::set<std::wstring> names;
    std::set<std::wstring> sources;
    for (const std::wstring& file : ToWide(m_files)) {
        if (file == kStandardStream && m_bMove)
            return UsageError(ToolTexts::IDS_MOVE_NEEDS_FILES);
        const std::wstring name = NameFor(file);
        if (const std::wstring why = WhyNoRequestName(name); !why.empty())
            return UsageError(ToolTexts::IDS_CANNOT_BE_A_NAME, {name, why});
        // Standard input and what is moved away can be had once.
        const bool isOnce = file == kStandardStream || m_bMove;
        if (!names.insert(name).second || (!sources.insert(file).second && isOnce))
            return UsageError(ToolTexts::IDS_SAME_NAME_TWICE, {platform::FileNameOf(file)});
        m_items.push_back({.source = file, .name = name});
    }
    return true;
}

std::wstring CSendCommand::NameFor(const std::wstring& file) const
{
    constexpr const wchar_t* kInputName = L"stdin.drq";
    const bool isInput = file == kStandardStream;
    const std::wstring own = isInput ? kInputName : platform::FileNameOf(file);
    const std::wstring name = m_name.empty() ? own : platform::FromUtf8(m_name);
    // Checked before, for an ending that is none would be moved to the end.
    const bool isUnique = m_bUnique || (isInput && m_name.empty());
    return isUnique && WhyNoRequestName(name).empty() ? UniqueRequestName(name) : name;
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
    if (const eExitCode code = TryTarget(session); code != eExitCode_Done)
        return code;
    for (SItem& item : m_items) {
        if (session.IsInterrupted())
            return eExitCode_Interrupted;
        item.code = SendItem(session, item);
    }
    if (m_bWait && FinishItems(session) == eFollowEnd_Interrupted)
        return eExitCode_Interrupted;
    if (!m_bWait && std::ranges::any_of(m_items, &SItem::isSent))
        CServerWatch::TellWhenDead(session);
    eExitCode code = eExitCode_Done;
    for (const SItem& item : m_items)
        code = FirstFailure(code, item.code);
    return code;
}

eExitCode CSendCommand::TryTarget(CToolSession& session) const
{
    const std::wstring target = platform::FromUtf8(m_target);
    if (target.empty())
        return eExitCode_Done;
    if (!CReceiver(session).CheckTarget(target))
        return eExitCode_Usage;
    eExitCode code = eExitCode_Done;
    for (const SItem& item : m_items) {
        const std::wstring file = CReceiver::TargetFor(target, item.name);
        std::wstring error;
        if (!m_bMove && !item.source.empty() && item.source != kStandardStream &&
            platform::IsSameFile(file, item.source))
            error = ShownText(ToolTexts::IDS_RESPONSE_OVER_REQUEST, {item.source});
        if (!error.empty() || !CReceiver::TryTarget(file, error))
            code = session.FailWithHint(item.name, error);
    }
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
        if (!session.IsOutputTaken())
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
    CSender sender(session);
    item.isSent = m_task.IsGiven() ? sender.SendText(TaskRequestXml(m_task.Request()), item.name, error)
                                   : sender.Send(item.source, item.name, error);
    if (!item.isSent) {
        const bool isMissing =
            !m_task.IsGiven() && item.source != kStandardStream && !platform::PathExists(item.source);
        return isMissing ? session.FailWithHint(item.name, error) : session.Fail(item.name, error);
    }
    eExitCode code = eExitCode_Done;
    if (m_bMove) {
        const platform::eOsError removed = RemoveWhenFree(item.source);
        if (!platform::Succeeded(removed)) {
            PrintError(L"zel",
                       ShownText(ToolTexts::IDS_SENT_BUT_NOT_DELETED, {item.source, platform::OsErrorText(removed)}));
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
            return FailToReceive(session, state.name, error);
    }
    // What the progress has told already, but for a bar that goes where output is a terminal, too.
    const bool hasProgress = !session.Options().quiet && !HasVanishingBar();
    if (!session.IsOutputTaken() || (state.status != eRequestStatus_Done && !hasProgress))
        session.PrintEnd(state);
    if (!m_bKeep)
        receiver.Forget(state);
    return ExitCodeOf(state.status);
}

/// What cannot be had where it was wanted is kept, and does not keep its name from being used again.
eExitCode CSendCommand::FailToReceive(CToolSession& session, const std::wstring& name, std::wstring error)
{
    const std::wstring kept = session.HasGivenUp() || m_bKeep ? std::wstring() : CReceiver(session).KeepElsewhere(name);
    if (!kept.empty())
        error += L"\n" + ShownText(ToolTexts::IDS_RESPONSE_KEPT, {kept});
    return session.Fail(name, error);
}
