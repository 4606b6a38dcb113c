#include "apps/zel/Sender.h"

#include "ZEL_Processor/LockFile.h"
#include "apps/zel/FileCopy.h"
#include "apps/zel/StagingFolder.h"
#include "platform/Os.h"
#include "platform/Path.h"

bool CSender::Send(const std::wstring& source, const std::wstring& name, std::wstring& error)
{
    // Asked before the copying, too, which may take long.
    if (IsInUse(name, error))
        return false;
    const SToolOptions& options = m_session.Options();
    CStagingFolder staging(options.clientDir.empty() ? options.requestDir : options.clientDir);
    const std::wstring staged = staging.FilePath(name);
    return staging.Make(error) && CopyContent(source, staged, error) && HandOver(staged, name, error);
}

bool CSender::HandOver(const std::wstring& staged, const std::wstring& name, std::wstring& error)
{
    // The hand-over replaces a file of the same name: while we look whether there is one, no other client may send. Its
    // ".lock" file is none that a server looks at.
    CLockFile lock(m_session.RequestPath(name));
    if (!lock.Lock(true)) {
        error = L"the name '" + name + L"' cannot be locked in the request directory";
        return false;
    }
    if (IsInUse(name, error))
        return false;
    if (m_session.Client().SendRequest(staged) == eRequestStatus_Sent)
        return true;
    error = L"'" + name + L"' cannot be moved from '" + platform::DirectoryOf(staged) + L"' to '" +
            m_session.Options().requestDir + L"'; both must be writable and on one volume";
    return false;
}

bool CSender::IsInUse(const std::wstring& name, std::wstring& error)
{
    // In the order in which a request travels: one that moves meanwhile is found at its next place.
    for (const std::wstring& path : {m_session.RequestPath(name), m_session.QueuePath(name), m_session.StatusPath(name),
                                     m_session.OutputPath(name)}) {
        if (platform::PathExists(path)) {
            error = L"the name '" + name + L"' is in use: '" + path + L"' exists";
            return true;
        }
    }
    return false;
}
