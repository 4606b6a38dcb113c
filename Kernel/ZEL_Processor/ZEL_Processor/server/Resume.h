#pragma once

#include "AttemptRecords.h"
#include "EndedRequests.h"
#include "LostAndFound.h"
#include "ResumedClients.h"
#include "ToldStatus.h"
#include "ZEL_Processor/ZelProcessorEnums.h"
#include "platform/FileSystem.h"

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

class CClientRegistry;
class CRequestQueue;
class CRequestStatuses;
struct SStringCode;
struct TSRequestItem;

/// Takes over what an earlier server left in the output directory, however that ended: nothing was written for this
/// while it ran, so the state of each request follows from the files that lie there. docs/server-options.md has the
/// table. For one thread, before the server runs.
class CResume {
public:
    CResume(const CServerSettings& settings, CRequestQueue& requests, CRequestStatuses& statuses,
            CClientRegistry& registry);

    /// Fills queue, paused list and clients, and tells in a line of the log what was found. None, or why a directory
    /// cannot be read: then requests may be missing, and the server must not start.
    [[nodiscard]] platform::eOsError Run();

private:
    enum eQueued { eQueued_Waiting, eQueued_Interrupted, eQueued_TakenBack };
    struct SQueued {
        eQueued state = eQueued_Waiting;
        platform::FileTimeNs arrived = 0;
        std::string name; ///< as PackedText
    };

    [[nodiscard]] platform::eOsError LookAtEnded();
    [[nodiscard]] bool HasFailed(const CString& name);
    void TakeBack(const CString& name);
    [[nodiscard]] platform::eOsError LookAtOutput();
    void LookAtStatus(const CString& requestName);
    void LookAtFile(const CString& name);
    void LookAtTheUnexplained();
    [[nodiscard]] eTold Told(const CString& requestName) const;
    void EndRequest(const CString& name, eTold told);
    void EndCommand(const CString& name, eTold told);

    [[nodiscard]] platform::eOsError LookAtQueue();
    void LookAtQueued(const platform::SDirectoryEntry& entry);
    void LookAtRequest(const CString& path, const CString& name);
    [[nodiscard]] bool IsOlderThan(platform::FileTimeNs arrived, const CString& name) const;
    [[nodiscard]] bool MayBeRequest(const platform::SDirectoryEntry& entry, const CString& path) const;
    void QueueAll();
    void QueueAgain(TSRequestItem item, const CString& name);

    void SetStatus(const CString& name, eZelProcRequestStatus status, const SStringCode& text);
    void Tell() const;

    const CServerSettings& m_settings;
    CRequestQueue& m_requests;
    CRequestStatuses& m_statuses;
    CClientRegistry& m_registry;
    const CAttemptRecords m_attempts;
    CResumedClients m_clients;
    CLostAndFound m_lost;
    CEndedRequests m_ended;
    CFailedRequests m_failed;
    bool m_bMayBeTorn = false;              ///< responses that were not synced
    const std::function<bool()> m_patience; ///< with all together who hold files
    std::map<CString, eTold> m_told;        ///< of requests in the queue that have a status
    std::map<CString, SAttempts> m_begun;   ///< runs of requests, as far as they were recorded
    std::vector<CString> m_responses;       ///< without a status
    std::vector<CString> m_unexplained;     ///< of the output directory
    std::deque<SQueued> m_queued;           ///< goes piece by piece, for there may be a million
    std::size_t m_nWaiting = 0;
    std::size_t m_nInterrupted = 0;
    std::size_t m_nTakenBack = 0;
    std::size_t m_nPaused = 0;
    std::size_t m_nAnswered = 0;
    std::size_t m_nClients = 0;
};
