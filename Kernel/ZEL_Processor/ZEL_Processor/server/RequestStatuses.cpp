#include "RequestStatuses.h"
#include "RequestQueue.h"
#include "ServerSettings.h"
#include "ZEL_Processor/ZelProcessor.h"
#include "platform/Os.h"
#include "platform/PrivateFiles.h"
#include "platform/Text.h"
#include "protocol/HandOver.h"
#include "protocol/ZelProcessorProgressStatusFile.h"
#include "reports/SourceNames.h"

#include <atomic>
#include <chrono>

void CRequestStatuses::SetRequestStatus(const CString& name, const std::string& owner, eZelProcRequestStatus status,
                                        const CString& text)
{
    // The listener, which serves all, waits no longer for who holds this one request's file than at its stop.
    static constinit const std::atomic<bool> s_isPatient = false;
    const platform::CPrivateFiles files(m_settings.PrivateFor(owner));
    const CString path = m_settings.m_paths.Status(name);
    m_left.Forget(path);
    CZelProcessorProgressStatusFile statusFile(platform::FromUtf8(kLoggerName), path, &s_isPatient);
    statusFile.SetPatience(m_settings.PatienceWithReaders());
    statusFile.SetToldOnce(m_settings.m_options.tellStory);
    CZelProcessor::SetStatus(&statusFile, status, text);
    KeepUnwritten(statusFile, path);
}

void CRequestStatuses::KeepUnwritten(const CZelProcessorProgressStatusFile& statusFile, const CString& statusPath)
{
    const bool isInsisted = m_settings.m_options.retryLastStatus;
    if (statusFile.Unwritten().empty() || !(isInsisted || CLeftStatuses::MayPass(statusFile.LastWriteError())))
        return;
    m_left.Leave(statusPath, statusFile.Unwritten(), isInsisted);
    m_requests.Wake(); // who tries again may be asleep
}

void CRequestStatuses::RemoveStatus(const CString& name)
{
    const CString path = m_settings.m_paths.Status(name);
    m_left.Forget(path);
    static_cast<void>(Protocol::RemoveWhenFree(path, m_settings.BriefPatience()));
}
