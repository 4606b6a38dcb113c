#pragma once

#include "platform/OsError.h"

class CRequestQueue;
struct CServerSettings;

/// Whether an operator has the queue stand still (SZelServerOptions::operatorCommands): a file of the server's own
/// folder, so that neither a kill nor a restart lets it go on. For one thread.
class CQueueHold {
public:
    CQueueHold(const CServerSettings& settings, CRequestQueue& requests) : m_settings(settings), m_requests(requests) {}

    /// At a start: as an earlier server left it, where the host wants that.
    void TakeOver();
    /// Both give why they did nothing, and do nothing when it is so already.
    [[nodiscard]] platform::eOsError Hold();
    [[nodiscard]] platform::eOsError Release();

private:
    const CServerSettings& m_settings;
    CRequestQueue& m_requests;
};
