#pragma once

#include "LeftStatuses.h"
#include "ZEL_Processor/ZelProcessorEnums.h"
#include "ZEL_Processor/ZelTypes.h"

#include <string>

class CRequestQueue;
class CZelProcessorProgressStatusFile;
struct CServerSettings;

/// Statuses of requests: those that are written or removed while the request does not run, and those that wait for who
/// holds their file. Safe from any thread.
class CRequestStatuses {
public:
    /// Who waits for requests is woken when there is something to be tried again.
    CRequestStatuses(const CServerSettings& settings, CRequestQueue& requests)
        : m_settings(settings), m_requests(requests)
    {}

    /// owner: the request's, not that of who sent a command.
    void SetRequestStatus(const CString& name, const std::string& owner, eZelProcRequestStatus status,
                          const CString& text);
    void RemoveStatus(const CString& name);
    /// Leaves what could not be written to be tried again: as long as somebody's hold or a link is the reason, or
    /// whatever the reason is, when the host wants that.
    void KeepUnwritten(const CZelProcessorProgressStatusFile& statusFile, const CString& statusPath);
    [[nodiscard]] CLeftStatuses& Left() { return m_left; }

private:
    const CServerSettings& m_settings;
    CRequestQueue& m_requests;
    CLeftStatuses m_left;
};
