#include "apps/zel/SendCommand.h"

#include "apps/zel/FileCopy.h"
#include "apps/zel/Receiver.h"
#include "apps/zel/RequestNames.h"
#include "apps/zel/Sender.h"
#include "platform/FileSystem.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include <set>

namespace {

bool UsageError(const std::wstring& text)
{
    PrintError(L"zel", text + L"\nRun with --help for more information.");
    return false;
}

} // namespace

void CSendCommand::Define(CLI::App& app)
{
    app.add_option("FILE", m_files, "Request files; they are copied and stay where they are")
        ->required()
        ->type_name("");
    app.add_option("--name", m_name, "Name of the request, ending in .drq or .xml (the file's own name)")
        ->type_name("NAME");
    app.add_flag("--move", m_bMove, "Delete each file after it was sent");
    app.add_flag("--wait", m_bWait, "Wait for the end; the status of a request that failed is then removed");
    app.add_option("-o,--output", m_target,
                   "Wait, and put the response into this file, or into this directory under the request's name")
        ->type_name("TARGET");
    m_timeout.Define(app, "With --wait or -o: end with code 7 when not all have ended after this time");
}

bool CSendCommand::Check()
{
    m_bWait = m_bWait || !m_target.empty();
    return MakeItems() && CheckTarget();
}

bool CSendCommand::MakeItems()
{
    if (!m_name.empty() && m_files.size() > 1)
        return UsageError(L"--name is for one file");
    std::set<std::wstring> names;
    for (const std::wstring& file : ToWide(m_files)) {
        const std::wstring name = m_name.empty() ? platform::FileNameOf(file) : platform::FromUtf8(m_name);
        if (const std::wstring why = WhyNoRequestName(name); !why.empty())
            return UsageError(L"'" + name + L"' cannot be the name of a request: " + why);
        if (!names.insert(name).second)
            return UsageError(L"two of the files have the name '" + name + L"'");
        m_items.push_back({.source = file, .name = name});
    }
    return true;
}

bool CSendCommand::CheckTarget() const
{
    const std::wstring target = platform::FromUtf8(m_target);
    if (m_items.size() > 1 && !target.empty() && !platform::DirectoryExists(target))
        return UsageError(L"-o must be an existing directory for several files");
    return true;
}

int CSendCommand::Run(CToolSession& session)
{
    for (SItem& item : m_items)
        item.code = SendItem(session, item);
    if (m_bWait && FinishItems(session) == eFollowEnd_Interrupted)
        return eExitCode_Interrupted;
    eExitCode code = eExitCode_Done;
    for (const SItem& item : m_items)
        code = FirstFailure(code, item.code);
    return code;
}

eFollowEnd CSendCommand::FinishItems(CToolSession& session)
{
    CFollower follower(session, m_timeout.Take());
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
            PrintError(L"zel",
                       L"'" + item.source + L"' was sent, but cannot be deleted: " + platform::OsErrorText(removed));
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
