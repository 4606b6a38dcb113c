#include "ChangedGroups.h"
#include "ServerState.h"
#include "ZEL_Processor/IWQ_ProjectMarker.h"
#include "ZEL_Processor/LockFile.h"
#include "com/ComObject.h"
#include "com/CreateInstance.h"
#include "exchange/DsEventRecord.h"
#include "exchange/DsEventsFile.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "framework/XMLArchive.h"
#include "platform/Os.h"
#include "platform/Text.h"
#include "protocol/HeldFile.h"
#include "protocol/ProtocolFiles.h"
#include "reports/SourceNames.h"

#include <algorithm>
#include <set>

namespace {

constexpr const wchar_t* kProjectMarker = L"ProjectNeedUpdatePalette";
constexpr const wchar_t* kUnableToLock = L"Unable to lock communication file on the server side !";
constexpr const wchar_t* kUnableToUnlock = L"Unable to delete .lock file";

// Identify reports beside those that have always been.
constexpr long kLineEventDropped = 905;
constexpr long kLineNotTold = 906;

void ReportResult(long line, const wchar_t* function, const wchar_t* text, HRESULT result)
{
    WQ_ReportErrorNow(SourceNames::kZelProcessorServer, line, function,
                      text + platform::FromUtf8(CComError(result).what()));
}

/// Reports of one notification, each with the line that identifies it. They stop when the server does or the client is
/// gone: what was not done then is no failure.
class CReporter {
public:
    CReporter(const wchar_t* function, std::function<bool()> isWanted)
        : m_pFunction(function), m_isWanted(std::move(isWanted))
    {}
    /// False, so that a failure can be returned with its report.
    bool Fail(long line, const wchar_t* text) const
    {
        if (m_isWanted())
            WQ_ReportErrorNow(SourceNames::kZelProcessorServer, line, m_pFunction, text);
        return false;
    }
    /// True when the lock could be given back.
    bool Unlock(CLockFile& lock, long line, const wchar_t* text) const { return lock.Unlock() || Fail(line, text); }

private:
    const wchar_t* m_pFunction;
    const std::function<bool()> m_isWanted;
};

bool HasContent(const CString& path)
{
    platform::SFileAttributes attributes;
    return platform::Succeeded(platform::Files().GetAttributes(path, attributes)) && attributes.length != 0;
}

/// The ids that a client has not taken yet, as they were written; none of a damaged file. False when it can't be read:
/// somebody holds it, say, and what he lets go must not be written over.
bool ReadGroups(const CString& path, IWQ_CLSIDArray& groups)
{
    CWQ_XMLArchive archive;
    if (!HasContent(path))
        return true;
    if (!archive.Open(path, CWQ_XMLArchive::eDirection_Load)) {
        Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                         (archive.IsUnreadable() ? L"New groups wait until they can be added to those in "
                                                 : L"Unable to read the changed groups in ") +
                             path + L": " + archive.GetErrorText());
        return !archive.IsUnreadable();
    }
    if (!archive.EnterElement(L"Group") || !archive.EnterElement(L"RevisionID"))
        return true;
    do {
        GUID id{};
        archive.GetText(id);
        ThrowIfFailed(groups.Add(&id));
    } while (archive.NextSibling(L"RevisionID"));
    return true;
}

CComPtr<IWQ_CLSIDArray> MakeArray()
{
    CComPtr<IWQ_CLSIDArray> array;
    ThrowIfFailed(CreateWQ_CLSIDArray(ComIid<IWQ_CLSIDArray>(), array.PutVoid()));
    return array;
}

void AppendGroups(IWQ_CLSIDArray& from, IWQ_CLSIDArray& to)
{
    ULONGLONG count = 0;
    ThrowIfFailed(from.GetCount(&count));
    for (ULONGLONG index = 0; index < count; ++index) {
        GUID id{};
        ThrowIfFailed(from.GetAt(index, &id));
        ThrowIfFailed(to.Add(&id));
    }
}

/// Each id once. More than ChangedGroups::kMaxIds become the null id: everything may have changed.
CComPtr<IWQ_CLSIDArray> WithoutRepeats(IWQ_CLSIDArray& groups)
{
    CComPtr<IWQ_CLSIDArray> all = MakeArray();
    std::set<GUID, SGuidLess> known;
    ULONGLONG count = 0;
    ThrowIfFailed(groups.GetCount(&count));
    for (ULONGLONG index = 0; index < count; ++index) {
        GUID id{};
        ThrowIfFailed(groups.GetAt(index, &id));
        if (known.insert(id).second)
            ThrowIfFailed(all->Add(&id));
    }
    if (known.size() > ChangedGroups::kMaxIds) {
        const GUID everything{};
        all = MakeArray();
        ThrowIfFailed(all->Add(&everything));
    }
    return all;
}

/// What a client gets of these ids, if what waits is limited: one that never reads must not make its file grow with
/// every change.
CComPtr<IWQ_CLSIDArray> Bounded(IWQ_CLSIDArray& groups)
{
    ULONGLONG count = 0;
    ThrowIfFailed(groups.GetCount(&count));
    return count > ChangedGroups::kMaxWithRepeats ? WithoutRepeats(groups) : CComPtr<IWQ_CLSIDArray>(&groups);
}

/// Events that nobody takes must not grow without end. What became too much to tell is one event that says so. With a
/// limit of 0 they may.
void Bound(CDsEventsDataVector& events, std::uint64_t limit)
{
    if (limit == 0 || DsEventsFile::Fits(events, std::min(limit, SZelServerOptions::kLargestEventsLimit)))
        return;
    events = {CreateInstanceZEL<IWQ_DsEventsData>(kClsidDsEventsData)};
    ThrowIfFailed(events.front()->PutKind(eDsEventKind_Reload));
}

bool WriteGroups(const CString& path, IWQ_CLSIDArray& groups)
{
    CWQ_XMLArchive archive;
    if (!archive.Open(path, CWQ_XMLArchive::eDirection_Store) || !archive.EnterElement(L"Group"))
        return false;
    ULONGLONG count = 0;
    ThrowIfFailed(groups.GetCount(&count));
    for (ULONGLONG index = 0; index < count; ++index) {
        GUID id{};
        ThrowIfFailed(groups.GetAt(index, &id));
        if (!archive.EnterElement(L"RevisionID") || !archive.PutText(id) || !archive.LeaveElement())
            return false;
    }
    return archive.Close();
}

/// What a palette says of a change. The array is the server's own.
struct SPaletteAnswer {
    CComPtr<IWQ_CLSIDArray> groups; ///< null when none changed
    VARIANT_BOOL needsUpdate = VARIANT_FALSE;
};

SPaletteAnswer AskPalette(IWQ_Palette& palette, IWQ_DsEventsData* events, IWQ_Project* project)
{
    SPaletteAnswer answer;
    VARIANT_BOOL changed = VARIANT_FALSE;
    CComPtr<IWQ_CLSIDArray> groups;
    ThrowIfFailed(palette.GetChangedGroups(events, project, &changed, groups.Put(), &answer.needsUpdate));
    if (changed != VARIANT_FALSE && groups) {
        answer.groups = MakeArray();
        AppendGroups(*groups, *answer.groups);
    }
    return answer;
}

/// The event as a reader will have it. One that cannot be written, or not be read back, is dropped here with a report:
/// it would spoil every file that it came into. Null then, and for null.
CComPtr<IWQ_DsEventsData> OwnCopy(IWQ_DsEventsData* event)
{
    CComPtr<IWQ_DsEventsData> copy;
    if (event == nullptr)
        return copy;
    const HRESULT copied = ComGuard([&] {
        copy = DsEventRecord::Copy(*event);
        return S_OK;
    });
    if (FAILED(copied))
        ReportResult(kLineEventDropped, L"CZelProcessorServer::OnChangedDs",
                     L"An event cannot be written and is dropped: ", copied);
    return copy;
}

} // namespace

void CServerState::OnChangedDs(IWQ_DsEventsData* events)
{
    if (!m_pPalette)
        throw CComError(E_POINTER);
    // A task may tell of a change: what its request's user owns is not what palette and project write.
    const platform::CPrivateFiles asUsual({});
    // Palette, project and event are not the server's own. They are called while nothing is locked: a fault in them may
    // be left by a jump that gives no lock back.
    SPaletteAnswer answer;
    const HRESULT asked = ComGuard([&] {
        answer = AskPalette(*m_pPalette, events, m_pProject.Get());
        return S_OK;
    });
    const std::vector<GUID> clients = RegisteredClients();
    if (clients.empty()) {
        ThrowIfFailed(asked);
        if (answer.needsUpdate != VARIANT_FALSE)
            MarkProject(answer.needsUpdate);
        return;
    }
    const CComPtr<IWQ_DsEventsData> own = OwnCopy(events);
    TellClients(clients, [&](const GUID& client) {
        SendEventsDataToClient(client, own.Get());
        if (answer.groups)
            SendChangedPaletteGroupsToClient(client, answer.groups.Get());
    });
    ThrowIfFailed(asked); // only now: the clients have their event
}

void CServerState::OnChangedLockResults()
{
    TellClients(RegisteredClients(), [&](const GUID& client) { SendChangedLockResultsToClient(client); });
}

/// Clients come and go meanwhile. Who is gone is passed over, and what was written for somebody who went just then is
/// taken away again: whoever takes a client off the list removes its events file after that.
void CServerState::TellClients(const std::vector<GUID>& clients, const std::function<void(const GUID&)>& tell)
{
    const std::lock_guard lock(m_csNotify);
    std::erase_if(m_pendingGroups, [&](const auto& pending) { return !IsRegistered(pending.first); });
    std::erase_if(m_heldEvents, [&](const auto& held) { return !IsRegistered(held.first); });
    std::erase_if(m_lockedOut, [&](const GUID& client) { return !IsRegistered(client); });
    for (const GUID& client : clients) {
        if (!CanTell(client))
            continue;
        const platform::CPrivateFiles files(PrivateFor(OwnerOfClient(client)));
        const HRESULT told = ComGuard([&] {
            tell(client);
            return S_OK;
        });
        if (FAILED(told))
            ReportResult(kLineNotTold, L"CZelProcessorServer::TellClients", L"A client could not be told of a change: ",
                         told);
        if (!IsRegistered(client))
            RemoveEventsFile(GetDsEventsFileFullPath(client));
    }
}

void CServerState::MarkProject(VARIANT_BOOL needsUpdate)
{
    if (!m_pProject)
        throw CComError(E_POINTER);
    CComPtr<IWQ_ArchiveObj> stored;
    ThrowIfFailed(m_pProject->GetStorageObject(kProjectMarker, stored.Put()));
    if (const auto marker = stored ? stored.QueryTo<IWQ_ProjectMarker>() : CComPtr<IWQ_ProjectMarker>()) {
        VARIANT_BOOL isSet = VARIANT_FALSE;
        ThrowIfFailed(marker->GetValue(&isSet));
        if (isSet != VARIANT_FALSE)
            return;
    }
    CComPtr<IWQ_ProjectMarker> marker;
    ThrowIfFailed(CreateWQ_ProjectMarker(ComIid<IWQ_ProjectMarker>(), marker.PutVoid()));
    ThrowIfFailed(marker->PutValue(needsUpdate));
    ThrowIfFailed(m_pProject->PutStorageObject(kProjectMarker, marker.QueryTo<IWQ_ArchiveObj>().Get()));
}

bool CServerState::CanTell(const GUID& clientId) const
{
    return m_bRunning && IsRegistered(clientId);
}

/// Names, once, what keeps the server from a client's lock. That the client itself has it for a moment is nothing to
/// tell of.
void CServerState::TellLockedOut(const GUID& clientId, const CString& path, bool isWaitOver)
{
    if (!CanTell(clientId))
        return;
    const CString lockPath = path + Protocol::kLockExtension;
    std::unique_ptr<platform::ILockFile> probe;
    const platform::eOsError error = platform::Files().OpenLockFile(lockPath, {}, probe);
    const bool isBusy = error == platform::eOsError_SharingViolation;
    if (platform::Succeeded(error) || (isBusy && !isWaitOver) || !m_lockedOut.insert(clientId).second)
        return;
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                     (isBusy ? HeldFile::Describe(lockPath) : lockPath + L": " + platform::OsErrorText(error)) +
                         L"; its client is told of changes when it is free");
}

bool CServerState::SendEventsDataToClient(const GUID& clientId, IWQ_DsEventsData* events)
{
    if (!events)
        return false;
    const CReporter report(L"CZelProcessorServer::SendEventsDataToClient", [&] { return CanTell(clientId); });
    const CString path = GetDsEventsFileFullPath(clientId);
    const auto keep = [&](CDsEventsDataVector& kept) {
        kept.emplace_back(events);
        Bound(kept, m_options.eventsLimit);
    };
    CLockFile lock(path);
    if (!lock.Lock(false)) {
        keep(m_pendingEvents); // the client is reading
        TellLockedOut(clientId, path, false);
        return true;
    }
    // Somebody who kept the file open the last time is not waited for again.
    static constinit const std::atomic<bool> s_isPatient = false;
    const bool wasHeld = m_options.patienceMs != 0 && m_heldEvents.contains(clientId);
    const std::atomic<bool>* const goOn = wasHeld ? &s_isPatient : &m_bRunning;
    CDsEventsDataVector all;
    const DsEventsFile::eRead read = HasContent(path) ? DsEventsFile::Read(path, all, goOn) : DsEventsFile::eRead_Done;
    if (read != DsEventsFile::eRead_Done) {
        const bool isHeld = read == DsEventsFile::eRead_NotOpened && m_options.patienceMs != 0;
        if (isHeld)
            keep(m_heldEvents[clientId]);
        if (!isHeld || !wasHeld)
            report.Fail(963, L"Unable to read ds events file !");
        report.Unlock(lock, 966, L"Unable to Unlock file lock (1) !");
        return false;
    }
    if (const auto held = m_heldEvents.find(clientId); held != m_heldEvents.end())
        all.insert(all.end(), held->second.begin(), held->second.end());
    all.insert(all.end(), m_pendingEvents.begin(), m_pendingEvents.end());
    all.emplace_back(events);
    Bound(all, m_options.eventsLimit);
    const bool written = DsEventsFile::Write(path, all, goOn);
    if (!CanTell(clientId))
        return false; // nobody will read it: what was pending still is
    m_pendingEvents.clear();
    if (!written) {
        if (!wasHeld)
            report.Fail(984, L"Unable to write ds events file !");
        if (m_options.patienceMs != 0)
            m_heldEvents[clientId].clear(); // they are among all
        m_pendingEvents = std::move(all);
        report.Unlock(lock, 988, L"Unable to Unlock file lock (2) !");
        return false;
    }
    m_heldEvents.erase(clientId);
    return report.Unlock(lock, 999, L"Unable to Unlock file lock (3) !");
}

bool CServerState::SendChangedPaletteGroupsToClient(const GUID& clientId, IWQ_CLSIDArray* groups)
{
    const CReporter report(L"CZelProcessorServer::SendChangedPaletteGroupsToClient", [&] { return CanTell(clientId); });
    const CString path = GetInsertableItemsChangeFile(clientId);
    const CComPtr<IWQ_CLSIDArray> news = MakeArray();
    CComPtr<IWQ_CLSIDArray>& pending = m_pendingGroups[clientId];
    if (pending)
        AppendGroups(*pending, *news);
    AppendGroups(*groups, *news);
    pending = WithoutRepeats(*news); // until they are written, whatever leaves this function
    CLockFile lock(path);
    const bool isPatient = m_options.patienceMs == 0 || !m_lockedOut.contains(clientId);
    if (!lock.Lock(isPatient, m_bRunning)) {
        TellLockedOut(clientId, path, m_options.patienceMs != 0);
        return isPatient && report.Fail(1018, kUnableToLock);
    }
    m_lockedOut.erase(clientId);
    const CComPtr<IWQ_CLSIDArray> both = MakeArray();
    if (!ReadGroups(path, *both))
        return report.Unlock(lock, 1071, kUnableToUnlock) && false;
    AppendGroups(*news, *both);
    const CComPtr<IWQ_CLSIDArray> all = m_options.eventsLimit != 0 ? Bounded(*both) : both;
    if (!WriteGroups(path, *all)) {
        pending = WithoutRepeats(*all);
        static_cast<void>(platform::WriteWholeFile(path, {})); // half a file would be taken for a damaged one
        return report.Fail(1062, L"Unable to write the changed groups !");
    }
    m_pendingGroups.erase(clientId);
    return report.Unlock(lock, 1071, kUnableToUnlock);
}

bool CServerState::SendChangedLockResultsToClient(const GUID& clientId)
{
    const CReporter report(L"CZelProcessorServer::SendChangedLockResultsToClient", [&] { return CanTell(clientId); });
    const CString path = GetLockResultsChangeFile(clientId);
    CLockFile lock(path);
    const bool isPatient = m_options.patienceMs == 0 || !m_lockedOut.contains(clientId);
    if (!lock.Lock(isPatient, m_bRunning)) {
        TellLockedOut(clientId, path, m_options.patienceMs != 0);
        return isPatient && report.Fail(1097, kUnableToLock);
    }
    m_lockedOut.erase(clientId);
    CWQ_XMLArchive archive;
    if (!archive.Open(path, CWQ_XMLArchive::eDirection_Store) || !archive.EnterElement(L"LockResults") ||
        !archive.Close())
        return report.Fail(1110, L"Unable to write the change of lock results !");
    return report.Unlock(lock, 1115, kUnableToUnlock);
}
