#include "apps/zel/Sender.h"

#include "ZEL_Processor/LockFile.h"
#include "apps/zel/FileCopy.h"
#include "apps/zel/StagingFolder.h"
#include "platform/Os.h"
#include "platform/Path.h"

#include "ToolTexts.h"

bool CSender::Send(const std::wstring& source, const std::wstring& name, std::wstring& error)
{
    const auto copy = [&](const std::wstring& staged, std::wstring& why) {
        return source == kStandardStream ? CopyInput(m_session, staged, why)
                                         : CopyContent(m_session, source, staged, staged, why);
    };
    return SendStaged(name, copy, error);
}

bool CSender::SendText(const std::string& text, const std::wstring& name, std::wstring& error)
{
    const auto write = [&](const std::wstring& staged, std::wstring& why) {
        const platform::eOsError result = platform::WriteWholeFile(staged, text);
        if (!platform::Succeeded(result))
            why = ShownText(ToolTexts::IDS_CANNOT_BE_WRITTEN, {staged, platform::OsErrorText(result)});
        return platform::Succeeded(result);
    };
    return SendStaged(name, write, error);
}

bool CSender::SendStaged(const std::wstring& name, const Stage& stage, std::wstring& error)
{
    m_session.ForgetGivenUp(); // what ended the one before says nothing of this one
    // Asked before the copying, too, which may take long.
    if (IsInUse(name, error))
        return false;
    const SToolOptions& options = m_session.Options();
    CStagingFolder staging(options.clientDir.empty() ? options.requestDir : options.clientDir);
    const std::wstring staged = staging.FilePath(name);
    return staging.Make(error) && stage(staged, error) && HandOver(staged, name, error);
}

bool CSender::HandOver(const std::wstring& staged, const std::wstring& name, std::wstring& error)
{
    // The hand-over replaces a file of the same name: while we look whether there is one, no other client may send. Its
    // ".lock" file is none that a server looks at.
    CLockFile lock(m_session.RequestPath(name));
    if (!lock.Lock(true)) {
        error = ShownText(ToolTexts::IDS_NAME_CANNOT_BE_LOCKED, {name});
        return false;
    }
    if (IsInUse(name, error))
        return false;
    {
        const CMutedHost muted(m_session.Host());
        if (m_session.Client().SendRequest(staged) == eRequestStatus_Sent)
            return true;
    }
    if (m_session.HasGivenUp()) {
        error = ShownText(ToolTexts::IDS_IN_USE, {staged});
        return false;
    }
    error = m_session.Client().GetLastErrorText();
    return false;
}

bool CSender::IsInUse(const std::wstring& name, std::wstring& error)
{
    // In the order in which a request travels: one that moves meanwhile is found at its next place.
    for (const std::wstring& path : {m_session.RequestPath(name), m_session.QueuePath(name), m_session.StatusPath(name),
                                     m_session.OutputPath(name)}) {
        if (!platform::PathExists(path))
            continue;
        const bool hasEnded = path == m_session.StatusPath(name) || path == m_session.OutputPath(name);
        error = ShownText(ToolTexts::IDS_NAME_IN_USE, {name, path}) + L"\n" +
                ShownText(hasEnded ? ToolTexts::IDS_NAME_OF_ENDED : ToolTexts::IDS_NAME_OF_WAITING,
                          hasEnded ? std::vector{name, name} : std::vector{name});
        return true;
    }
    return false;
}
