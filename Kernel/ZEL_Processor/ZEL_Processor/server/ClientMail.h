#pragma once

#include "ServerSettings.h"
#include "com/Guid.h"
#include "exchange/DsEventsFile.h"
#include "platform/Mutex.h"
#include "protocol/HandOver.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <vector>

class CClientRegistry;

/// What each client is still to be told, in a list of its own, and how it gets into the client's files. Nobody is
/// waited for, and nothing is locked while a file is written: what cannot be delivered stays in the list and is tried
/// again. For any thread; what one thread is delivering to a client another one adds to its list.
class CClientMail {
public:
    struct SNews {
        DsEventsFile::SRecords events = {};
        std::vector<GUID> groups = {};
        bool areLockResultsChanged = false;
    };

    /// All are the owner's and outlive this. Nobody is told any more when isRunning turns false.
    CClientMail(const CServerSettings& settings, CClientRegistry& clients, const std::atomic<bool>& isRunning)
        : m_settings(settings), m_clients(clients), m_isRunning(isRunning)
    {}

    void Send(const std::vector<GUID>& clients, const SNews& news);
    /// Tries again, some times a second at most; true when something still waits. For one thread.
    bool TryAgain();
    /// Forgets what waits.
    void Clear();

    [[nodiscard]] std::size_t CountWaitingEvents();
    [[nodiscard]] std::size_t CountWaitingGroups();

private:
    struct SBox {
        SNews waiting;
        DsEventsFile::SEnd end; ///< of the client's events file
        Protocol::GoOn held;    ///< while somebody holds a file: tells of him in time
        bool isToldOf = false;  ///< why a file could not be written
        bool isBusy = false;    ///< a thread is delivering what it took out
    };
    [[nodiscard]] std::uint64_t Limit() const;
    void Join(SNews& news, const SNews& more) const;
    void Deliver(const GUID& client);
    [[nodiscard]] bool Take(const GUID& client, SBox& taken);
    void GiveBack(const GUID& client, SBox& taken);
    [[nodiscard]] bool WriteAll(const GUID& client, SBox& box) const;
    [[nodiscard]] bool Write(const GUID& client, SBox& box, long line, const CString& path,
                             const std::function<platform::eOsError(CString&)>& write) const;

    const CServerSettings& m_settings;
    CClientRegistry& m_clients;
    const std::atomic<bool>& m_isRunning;
    std::chrono::nanoseconds m_lastTry{}; ///< of TryAgain
    std::atomic<bool> m_isWaiting = false;

    /// Taken before the mutex of the clients. Only the lists are touched under it.
    platform::CMutex m_csMail;
    std::map<GUID, SBox, SGuidLess> m_boxes ZEL_GUARDED_BY(m_csMail);
};
