#include "apps/zel/Receiver.h"

#include "apps/zel/FileCopy.h"
#include "platform/Os.h"
#include "platform/Path.h"

#include "ToolTexts.h"

namespace {

class CMutedHost {
public:
    explicit CMutedHost(CToolHost& host) : m_host(host) { m_host.SetMuted(true); }
    ~CMutedHost() { m_host.SetMuted(false); }
    CMutedHost(const CMutedHost&) = delete;
    CMutedHost& operator=(const CMutedHost&) = delete;

private:
    CToolHost& m_host;
};

} // namespace

std::wstring CReceiver::TargetFor(const std::wstring& target, const std::wstring& name)
{
    return platform::DirectoryExists(target) ? platform::JoinPath(target, name) : target;
}

bool CReceiver::Receive(const std::wstring& name, const std::wstring& target, std::wstring& error)
{
    m_session.ForgetGivenUp();
    {
        // A target on another volume is no failure: there is the other way.
        const CMutedHost muted(m_session.Host());
        if (m_session.Client().ReceiveOutput(name, target))
            return true;
    }
    if (!platform::PathExists(m_session.OutputPath(name))) {
        error = WQ_ModuleText(ToolTexts::IDS_NO_RESPONSE, {name});
        return false;
    }
    if (m_session.HasGivenUp()) {
        error = WQ_ModuleText(ToolTexts::IDS_IN_USE, {m_session.OutputPath(name)});
        return false;
    }
    return ReceiveByCopy(name, target, error);
}

bool CReceiver::ReceiveByCopy(const std::wstring& name, const std::wstring& target, std::wstring& error)
{
    // Beside the target, so that it appears there whole; and the response goes only when it is there.
    const std::wstring directory = platform::DirectoryOf(platform::AbsolutePath(target));
    const std::wstring partial =
        platform::JoinPath(directory, L".zel-" + CZelProcessorClient::GetUniqueString() + L".tmp");
    if (!CopyContent(m_session, m_session.OutputPath(name), partial, error))
        return false;
    const platform::eOsError moved =
        platform::Files().Move(partial, target, platform::eMoveFlag_ReplaceExisting | platform::eMoveFlag_WriteThrough);
    if (!platform::HasMoved(moved)) {
        error = WQ_ModuleText(ToolTexts::IDS_CANNOT_BE_WRITTEN, {target, platform::OsErrorText(moved)});
        static_cast<void>(platform::Files().Remove(partial));
        return false;
    }
    RemoveOrTell(m_session.OutputPath(name));
    RemoveOrTell(m_session.StatusPath(name));
    return true;
}

void CReceiver::Forget(const SRequestState& state)
{
    if (state.status == eRequestStatus_ServerError || state.status == eRequestStatus_ServerTimeout ||
        state.status == eRequestStatus_Canceled)
        RemoveOrTell(m_session.StatusPath(state.name));
}

void CReceiver::RemoveOrTell(const std::wstring& path)
{
    const platform::eOsError error = RemoveWhenFree(path);
    if (!platform::Succeeded(error))
        PrintError(L"zel", WQ_ModuleText(ToolTexts::IDS_CANNOT_BE_DELETED, {path, platform::OsErrorText(error)}));
}
