#pragma once

#include "com/Guid.h"
#include "platform/Mutex.h"
#include "protocol/HandOver.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

class CClientRecords;
class CServerFigures;

/// Who is registered for notifications, with the files that make and end a registration. For any thread.
class CClientRegistry {
public:
    /// Makes what says how long one file of a registration is waited for.
    using CPatience = std::function<Protocol::GoOn()>;

    /// Both are the owner's and outlive this. Registrations end when isRunning turns false.
    CClientRegistry(const SProtocolPaths& paths, const std::atomic<bool>& isRunning);

    /// Where it is kept whose command registered whom, and who was seen; null for nowhere. Outlives this.
    void SetRecords(const CClientRecords* records) { m_pRecords = records; }

    /// Who is to know when somebody comes or goes; null for nobody.
    void SetFigures(CServerFigures* figures) { m_pFigures = figures; }

    /// The log tells of each registration and of its end.
    void SetTold(bool isTold) { m_bTold = isTold; }

    /// A new client with empty files of its own, and its id as the answer in a new file. owner: whose command it was;
    /// empty when nobody asks. False, with a report, when a file cannot be made.
    bool Register(const CString& answerPath, const std::string& owner, const CPatience& patience);
    /// False when there is no such client, or its events file cannot be removed.
    bool UnregisterClient(const GUID& clientId);

    void Add(const GUID& clientId, const std::string& owner, bool isSeen = false);
    bool Remove(const GUID& clientId);
    void Clear();

    /// In the order of registration; none when nothing runs.
    [[nodiscard]] std::vector<GUID> All() const;
    [[nodiscard]] bool Contains(const GUID& clientId) const;
    /// How many there are, and in that order at most so many, each with its time on the steady clock.
    [[nodiscard]] std::size_t First(std::size_t most,
                                    std::vector<std::pair<GUID, std::chrono::nanoseconds>>& clients) const;
    [[nodiscard]] std::string OwnerOf(const GUID& clientId) const;
    [[nodiscard]] std::size_t CountOf(const std::string& owner) const;

    /// Removes what is written for a client that has gone. False when it can't be removed. Whoever holds the file is
    /// waited for without end, but not here, where others are to be served: RemoveLeftFiles tries again.
    bool RemoveEventsFile(const GUID& clientId);
    /// All that is in the output directory for a client that has gone, with the locks that it may have left there.
    void RemoveFiles(const GUID& clientId);
    void RemoveLeftFiles();

    /// Ends the registrations of clients whose presence file was held and is held no longer. Looks twice a second
    /// at most. For one thread.
    void UnregisterDead();
    [[nodiscard]] bool IsSeen(const GUID& clientId) const;

private:
    [[nodiscard]] bool MakeFiles(const GUID& clientId, const CPatience& patience) const;
    [[nodiscard]] bool IsMade(platform::eOsError error, const CString& path, long line, const wchar_t* what) const;
    [[nodiscard]] bool RemoveWithRecord(const GUID& clientId);
    [[nodiscard]] bool IsDead(const GUID& clientId);
    void SetSeen(const GUID& clientId);
    void Leave(const CString& path);

    struct SClient {
        std::uint64_t number = 0; ///< in the order of registration
        std::string owner = {};
        bool isSeen = false;               ///< its presence file was held once
        std::chrono::nanoseconds since{0}; ///< by the steady clock
    };

    const SProtocolPaths& m_paths;
    const std::atomic<bool>& m_isRunning;
    const CClientRecords* m_pRecords = nullptr;
    CServerFigures* m_pFigures = nullptr;
    bool m_bTold = false; ///< constant while the server runs
    /// Only the lists are touched under it: registrations wait neither for a file nor for a notification.
    mutable platform::CMutex m_csClients;
    std::map<GUID, SClient, SGuidLess> m_clients ZEL_GUARDED_BY(m_csClients);
    std::map<std::string, std::size_t> m_clientsOfOwner ZEL_GUARDED_BY(m_csClients);
    std::uint64_t m_nextClient ZEL_GUARDED_BY(m_csClients) = 0;
    /// Of clients that have gone, while somebody holds them. As many as he can hold open.
    std::vector<CString> m_leftFiles ZEL_GUARDED_BY(m_csClients);
    std::chrono::nanoseconds m_lastLook{}; ///< for the dead
};
