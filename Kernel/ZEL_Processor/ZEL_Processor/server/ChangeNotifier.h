#pragma once

#include "ClientMail.h"
#include "ClientRegistry.h"
#include "ServerSettings.h"
#include "ZELAutomation/ZELAutomationEnvFile.h"
#include "ZEL_Processor/IWQ_Palette.h"
#include "com/ComPtr.h"
#include "platform/Mutex.h"

#include <functional>
#include <map>
#include <set>
#include <vector>

class CLockFile;

/// Tells the registered clients of changes, each in its files. What a client's lock keeps from being written waits
/// here, or in the client's own list. For any thread; one change is told after the other, unless each has its list.
class CChangeNotifier {
public:
    /// All are the owner's and outlive this. Nobody is told any more when isRunning turns false.
    CChangeNotifier(const CServerSettings& settings, CClientRegistry& clients, CClientMail& mail,
                    const std::atomic<bool>& isRunning);

    /// A change in the data: the event, and the groups that the palette says have changed. Without clients the project
    /// is marked instead. Throws CComError when palette or project fail, after the clients have their event.
    void TellChange(IWQ_Palette& palette, IWQ_Project* project, IWQ_DsEventsData* event);
    void TellLockResults();
    /// Forgets what waits.
    void Clear();

    [[nodiscard]] std::size_t CountWaitingEvents();
    [[nodiscard]] std::size_t CountWaitingGroups();

private:
    void TellClients(const std::vector<GUID>& clients, const std::function<void(const GUID&)>& tell);
    void ForgetWhoLeft() ZEL_REQUIRES(m_csNotify);
    [[nodiscard]] bool CanTell(const GUID& clientId) const;
    void TellLockedOut(const GUID& clientId, const CString& path, bool isWaitOver) ZEL_REQUIRES(m_csNotify);
    void Keep(CDsEventsDataVector& kept, IWQ_DsEventsData* event) const;
    void SendEventsDataToClient(const GUID& clientId, IWQ_DsEventsData* event) ZEL_REQUIRES(m_csNotify);
    [[nodiscard]] bool Lock(CLockFile& lock, const GUID& clientId, const CString& path, bool& isToldOf)
        ZEL_REQUIRES(m_csNotify);
    void SendChangedPaletteGroupsToClient(const GUID& clientId, const std::vector<GUID>& groups)
        ZEL_REQUIRES(m_csNotify);
    void SendChangedLockResultsToClient(const GUID& clientId) ZEL_REQUIRES(m_csNotify);

    const CServerSettings& m_settings;
    CClientRegistry& m_clients;
    CClientMail& m_mail; ///< has what waits with SZelServerOptions::ownLists, in place of the lists below
    const std::atomic<bool>& m_isRunning;

    /// Held for a whole notification, which may wait for a client: one after the other, in the order of the changes.
    /// Taken before the mutex of the clients, and by nobody but who tells of a change. What is guarded is the server's
    /// own.
    platform::CMutex m_csNotify;
    CDsEventsDataVector m_pendingEvents ZEL_GUARDED_BY(m_csNotify);                          ///< oldest first
    std::map<GUID, std::vector<GUID>, SGuidLess> m_pendingGroups ZEL_GUARDED_BY(m_csNotify); ///< by client
    /// Clients whose lock, or whose events file, could not be had the last time. They were told of, and are not waited
    /// for again.
    std::set<GUID, SGuidLess> m_lockedOut ZEL_GUARDED_BY(m_csNotify);
    /// With the events that wait for that client alone, which has the others in its file.
    std::map<GUID, CDsEventsDataVector, SGuidLess> m_heldEvents ZEL_GUARDED_BY(m_csNotify);
};
