#include "PackedText.h"
#include "RequestStatuses.h"
#include "Resume.h"
#include "ServerSettings.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "reports/StringCodes.h"

#include <string_view>

// What a start finds in the output directory.

platform::eOsError CResume::LookAtOutput()
{
    return platform::Files().Visit(m_settings.m_paths.m_strOutputDir, [this](const platform::SDirectoryEntry& entry) {
        constexpr std::wstring_view status = Protocol::kStatusExtension;
        if (entry.isDirectory)
            return true;
        if (platform::EqualsNoCase(platform::ExtensionOf(entry.name), Protocol::kStatusExtension))
            LookAtStatus(entry.name.substr(0, entry.name.size() - status.size()));
        else
            LookAtFile(entry.name);
        return true;
    });
}

void CResume::LookAtStatus(const CString& requestName)
{
    const eTold told = Told(requestName);
    if (told == eTold_Nothing && !platform::PathExists(m_settings.m_paths.Status(requestName)))
        return; // its client has taken the end since the directory was listed
    if (Protocol::GetFileKind(requestName) == Protocol::eFileKind_Command)
        EndCommand(requestName, told);
    else if (platform::PathExists(m_settings.m_paths.InQueue(requestName)))
        m_told[requestName] = told;
    else
        EndRequest(requestName, told);
}

/// A status without a file in the queue. The file goes when the response is there, or when the request has failed and
/// there is none; then comes the last status.
void CResume::EndRequest(const CString& name, eTold told)
{
    const bool hasEnd = IsEnd(told) || told == eTold_Held;
    if (!hasEnd && platform::PathExists(m_settings.m_paths.InRequestDir(name)))
        return m_statuses.RemoveStatus(name); // a power cut has undone its way into the queue; it waits
    const bool isRequest = told != eTold_Nothing || Protocol::GetFileKind(name) == Protocol::eFileKind_Request;
    if (!hasEnd && platform::PathExists(m_settings.m_paths.Output(name)))
        SetStatus(name, eRequestStatus_Done, StringCodes::kDone);
    else if (!hasEnd && isRequest)
        SetStatus(name, eRequestStatus_ServerError, StringCodes::kEndLost);
    else if (!hasEnd)
        return m_lost.MoveAside(m_settings.m_paths.Status(name));
    ++m_nAnswered;
}

/// A command is deleted when it was carried out, before its last status. One that was not carried out to its end is not
/// begun again: a second pause would undo the first.
void CResume::EndCommand(const CString& name, eTold told)
{
    const CString queued = m_settings.m_paths.InQueue(name);
    const bool isQueued = platform::PathExists(queued);
    if (!IsEnd(told) && told != eTold_Held) {
        if (isQueued)
            SetStatus(name, eRequestStatus_ServerError, StringCodes::kCommandLost);
        else if (platform::PathExists(m_settings.m_paths.InRequestDir(name)))
            m_statuses.RemoveStatus(name);
        else
            SetStatus(name, eRequestStatus_Done, StringCodes::kDone);
    }
    if (isQueued)
        static_cast<void>(platform::Files().Remove(queued));
}

void CResume::LookAtFile(const CString& name)
{
    if (m_clients.Take(name) || platform::PathExists(m_settings.m_paths.Status(name)) ||
        platform::PathExists(m_settings.m_paths.InQueue(name)))
        return;
    if (Protocol::GetFileKind(name) == Protocol::eFileKind_Request)
        m_responses.push_back(name);
    else
        m_unexplained.push_back(name);
}

void CResume::LookAtTheUnexplained()
{
    for (const CString& name : m_responses) {
        const bool isThere = platform::PathExists(m_settings.m_paths.Output(name)); // nobody has taken it since
        if (isThere && !platform::PathExists(m_settings.m_paths.InRequestDir(name)))
            EndRequest(name, eTold_Nothing);
    }
    for (const CString& name : m_unexplained) {
        if (!m_clients.IsAnswer(m_registry, name))
            m_lost.MoveAside(m_settings.m_paths.Output(name));
    }
}
