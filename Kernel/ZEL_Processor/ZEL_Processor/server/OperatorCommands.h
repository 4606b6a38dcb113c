#pragma once

#include "FailedRequests.h"
#include "QueueHold.h"
#include "ZEL_Processor/ZelProcessorEnums.h"
#include "ZEL_Processor/ZelServerOptions.h"
#include "ZEL_Processor/ZelTypes.h"

class CRequestStatuses;
namespace CommandFile {
struct SContent;
struct SWhere;
} // namespace CommandFile

/// What an operator wants of the queue as a whole (SZelServerOptions::operatorCommands). For the listener's thread.
class COperatorCommands {
public:
    COperatorCommands(const CServerSettings& settings, CRequestQueue& requests, CRequestStatuses& statuses)
        : m_settings(settings),
          m_requests(requests),
          m_statuses(statuses),
          m_hold(settings, requests),
          m_failed(settings)
    {}

    [[nodiscard]] static bool IsOne(eCommandType type);
    /// Whether the host wants this one of them; to others its word is unknown.
    [[nodiscard]] static bool Takes(const SZelServerOptions& options, eCommandType type);
    /// At a start: that an earlier server was draining.
    static void ForgetDrain(const CServerSettings& settings);
    /// Empty when it was carried out, else why not. path: of its file, whose owner says who asks.
    [[nodiscard]] CString CarryOut(const CommandFile::SContent& command, const CString& path);

private:
    void Drain();
    [[nodiscard]] CString Retry(const CString& name);
    [[nodiscard]] bool HasOtherEnd(const CString& name) const;
    [[nodiscard]] CString Discard(const CString& name);
    [[nodiscard]] CString Failure(const CString& name, platform::eOsError error) const;
    [[nodiscard]] CString Move(const CString& name, const CommandFile::SWhere& where);

    const CServerSettings& m_settings;
    CRequestQueue& m_requests;
    CRequestStatuses& m_statuses;
    CQueueHold m_hold;
    const CFailedRequests m_failed;
};
