#include "apps/zel/Receiver.h"

#include "apps/zel/FileCopy.h"
#include "apps/zel/RequestNames.h"
#include "apps/zel/Sender.h"
#include "platform/ByteStream.h"
#include "platform/Os.h"
#include "platform/Path.h"

#include "ToolTexts.h"

using namespace std::chrono_literals;

namespace {

bool IsStandardOutput(const std::wstring& target)
{
    return target == kStandardStream || platform::SinkKind(target) == platform::eSinkKind_Output;
}

/// A name beside a target that nobody else has.
std::wstring NameBeside(const std::wstring& target)
{
    return platform::JoinPath(platform::DirectoryOf(platform::AbsolutePath(target)),
                              L".zel-" + CZelProcessorClient::GetUniqueString() + L".tmp");
}

} // namespace

std::wstring CReceiver::TargetFor(const std::wstring& target, const std::wstring& name)
{
    const bool isDirectory = target != kStandardStream && platform::DirectoryExists(target);
    return isDirectory ? platform::JoinPath(target, name) : target;
}

bool CReceiver::CheckTarget(const std::wstring& target)
{
    if (!IsStandardOutput(target))
        return true;
    m_session.SetOutputTaken();
    if (m_session.Options().json)
        PrintUsageError(L"zel", WQ_ModuleText(ToolTexts::IDS_OUTPUT_TAKEN));
    return !m_session.Options().json;
}

bool CReceiver::TryTarget(const std::wstring& target, std::wstring& error)
{
    if (target == kStandardStream || platform::SinkKind(target) != platform::eSinkKind_None)
        return true; // a device is not opened to be tried
    if (platform::DirectoryExists(target)) {
        error = ShownText(ToolTexts::IDS_IS_A_DIRECTORY, {target});
        return false;
    }
    const std::wstring trial = NameBeside(target);
    std::unique_ptr<platform::IFile> file;
    const platform::eOsError result = platform::Files().Open(trial, platform::eOpenMode_CreateExclusive, file);
    if (!platform::Succeeded(result)) {
        error = ShownText(ToolTexts::IDS_CANNOT_BE_CREATED, {target, platform::OsErrorText(result)});
        return false;
    }
    file.reset();
    static_cast<void>(platform::Files().Remove(trial));
    return true;
}

bool CReceiver::Receive(const std::wstring& name, const std::wstring& target, std::wstring& error)
{
    m_session.ForgetGivenUp();
    const std::wstring response = m_session.OutputPath(name);
    if (!platform::PathExists(response)) {
        error = ShownText(ToolTexts::IDS_NO_RESPONSE, {name});
        return false;
    }
    if (!IsFree(response)) {
        error = ShownText(ToolTexts::IDS_IN_USE, {response});
        return false;
    }
    if (!CopyTo(m_session, response, target, error))
        return false;
    // A response that stays keeps its status: without it the name looks free to others.
    if (RemoveOrTell(response))
        RemoveOrTell(m_session.StatusPath(name));
    return true;
}

/// Waits until nobody has the response open: what is open cannot be removed, and its name stays in use. A move of a
/// file onto itself tells that.
bool CReceiver::IsFree(const std::wstring& path)
{
    while (platform::Files().Move(path, path, platform::eMoveFlag_None) == platform::eOsError_SharingViolation) {
        if (!m_session.GoOn())
            return false;
        platform::Clock().SleepFor(1ms);
    }
    return true;
}

bool CReceiver::CopyTo(IPatience& patience, const std::wstring& response, const std::wstring& target,
                       std::wstring& error)
{
    if (IsStandardOutput(target))
        return CopyToOutput(patience, response, error);
    if (platform::SinkKind(target) == platform::eSinkKind_Device)
        return CopyToDevice(patience, response, target, error);
    return CopyBeside(patience, response, target, error);
}

/// Beside the target, so that it appears there whole; and the response goes only when it is there.
bool CReceiver::CopyBeside(IPatience& patience, const std::wstring& response, const std::wstring& target,
                           std::wstring& error)
{
    const std::wstring partial = NameBeside(target);
    if (!CopyContent(patience, response, partial, target, error))
        return false;
    const platform::eOsError moved =
        platform::Files().Move(partial, target, platform::eMoveFlag_ReplaceExisting | platform::eMoveFlag_WriteThrough);
    if (!platform::HasMoved(moved)) {
        error = ShownText(ToolTexts::IDS_CANNOT_BE_WRITTEN, {target, platform::OsErrorText(moved)});
        static_cast<void>(platform::Files().Remove(partial));
    }
    return platform::HasMoved(moved);
}

std::wstring CReceiver::KeepElsewhere(const std::wstring& name)
{
    const std::wstring other = UniqueRequestName(name);
    const auto move = [](const std::wstring& from, const std::wstring& to) {
        return platform::HasMoved(platform::Files().Move(from, to, platform::eMoveFlag_WriteThrough));
    };
    if (!move(m_session.OutputPath(name), m_session.OutputPath(other)))
        return {};
    if (!move(m_session.StatusPath(name), m_session.StatusPath(other)))
        RemoveOrTell(m_session.StatusPath(name)); // the response alone can be received, too
    return other;
}

void CReceiver::Forget(const SRequestState& state)
{
    if (state.status == eRequestStatus_ServerError || state.status == eRequestStatus_ServerTimeout ||
        state.status == eRequestStatus_Canceled)
        RemoveOrTell(m_session.StatusPath(state.name));
}

bool CReceiver::RemoveOrTell(const std::wstring& path)
{
    const platform::eOsError error = RemoveWhenFree(path);
    if (!platform::Succeeded(error))
        PrintError(L"zel", ShownText(ToolTexts::IDS_CANNOT_BE_DELETED, {path, platform::OsErrorText(error)}));
    return platform::Succeeded(error);
}
