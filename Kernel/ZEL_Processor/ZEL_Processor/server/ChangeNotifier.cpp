#include "ChangeNotifier.h"

#include "PaletteAnswer.h"
#include "ZEL_Processor/LockFile.h"
#include "com/ComObject.h"
#include "com/CreateInstance.h"
#include "exchange/DsEventRecord.h"
#include "exchange/DsEventsFile.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/PrivateFiles.h"
#include "platform/Text.h"
#include "protocol/ChangedGroupsFile.h"
#include "protocol/HeldFile.h"
#include "protocol/LockResultsFile.h"
#include "protocol/NotificationFile.h"
#include "reports/ReportLines.h"
#include "reports/SourceNames.h"

#include <algorithm>

namespace {

constexpr const wchar_t* kUnableToLock = L"Unable to lock communication file on the server side !";
constexpr const wchar_t* kUnableToUnlock = L"Unable to delete .lock file";

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
    void Fail(long line, const wchar_t* text) const
    {
        if (m_isWanted())
            WQ_ReportErrorNow(SourceNames::kZelProcessorServer, line, m_pFunction, text);
    }
    void Unlock(CLockFile& lock, long line, const wchar_t* text) const
    {
        if (!lock.Unlock())
            Fail(line, text);
    }

private:
    const wchar_t* m_pFunction;
    const std::function<bool()> m_isWanted;
};

/// The ids that a client has not taken yet, as they were written; none of a damaged file. False when it can't be read:
/// somebody holds it, say, and what he lets go must not be written over.
bool ReadWaiting(const CString& path, std::vector<GUID>& ids)
{
    if (!NotificationFile::HasContent(path))
        return true;
    ChangedGroupsFile::SContent content;
    const ChangedGroupsFile::eRead read = ChangedGroupsFile::Read(path, content);
    if (read != ChangedGroupsFile::eRead_Ok)
        Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                         (read == ChangedGroupsFile::eRead_Unreadable
                              ? L"New groups wait until they can be added to those in "
                              : L"Unable to read the changed groups in ") +
                             path + L": " + content.reason);
    if (!content.isSideBySide) // which no server writes
        ids = std::move(content.ids);
    return read != ChangedGroupsFile::eRead_Unreadable;
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
        ReportResult(ReportLines::kEventDropped, L"CZelProcessorServer::OnChangedDs",
                     L"An event cannot be written and is dropped: ", copied);
    return copy;
}

} // namespace

CChangeNotifier::CChangeNotifier(const CServerSettings& settings, CClientRegistry& clients, CClientMail& mail,
                                 const std::atomic<bool>& isRunning)
    : m_settings(settings), m_clients(clients), m_mail(mail), m_isRunning(isRunning)
{}

void CChangeNotifier::TellChange(IWQ_Palette& palette, IWQ_Project* project, IWQ_DsEventsData* event)
{
    // A task may tell of a change: what its request's user owns is not what palette and project write.
    const platform::CPrivateFiles asUsual({});
    SPaletteAnswer answer;
    const HRESULT asked = ComGuard([&] {
        answer = SPaletteAnswer::Ask(palette, event, project);
        return S_OK;
    });
    const std::vector<GUID> clients = m_clients.All();
    if (clients.empty()) {
        ThrowIfFailed(asked);
        if (answer.needsUpdate != VARIANT_FALSE)
            MarkProject(project, answer.needsUpdate);
        return;
    }
    const CComPtr<IWQ_DsEventsData> own = OwnCopy(event);
    if (m_settings.m_options.ownLists) {
        m_mail.Send(clients, {own ? DsEventsFile::RecordOf(*own) : DsEventsFile::SRecords(),
                              answer.groups.value_or(std::vector<GUID>())});
    } else {
        TellClients(clients, [&](const GUID& client) ZEL_REQUIRES(m_csNotify) {
            SendEventsDataToClient(client, own.Get());
            if (answer.groups)
                SendChangedPaletteGroupsToClient(client, *answer.groups);
        });
    }
    ThrowIfFailed(asked); // only now: the clients have their event
}

void CChangeNotifier::TellLockResults()
{
    if (m_settings.m_options.ownLists)
        return m_mail.Send(m_clients.All(), {.areLockResultsChanged = true});
    TellClients(m_clients.All(),
                [&](const GUID& client) ZEL_REQUIRES(m_csNotify) { SendChangedLockResultsToClient(client); });
}

void CChangeNotifier::Clear()
{
    m_mail.Clear();
    const platform::CMutexLock lock(m_csNotify);
    m_lockedOut.clear();
    m_heldEvents.clear();
    m_pendingEvents.clear();
    m_pendingGroups.clear();
}

std::size_t CChangeNotifier::CountWaitingEvents()
{
    const platform::CMutexLock lock(m_csNotify);
    std::size_t count = m_mail.CountWaitingEvents() + m_pendingEvents.size();
    for (const auto& [client, events] : m_heldEvents)
        count += events.size();
    return count;
}

std::size_t CChangeNotifier::CountWaitingGroups()
{
    const platform::CMutexLock lock(m_csNotify);
    std::size_t count = m_mail.CountWaitingGroups();
    for (const auto& [client, groups] : m_pendingGroups)
        count += groups.size();
    return count;
}

/// Clients come and go meanwhile. Who is gone is passed over, and what was written for somebody who went just then is
/// taken away again: whoever takes a client off the list removes its events file after that.
void CChangeNotifier::TellClients(const std::vector<GUID>& clients, const std::function<void(const GUID&)>& tell)
{
    const platform::CMutexLock lock(m_csNotify);
    ForgetWhoLeft();
    for (const GUID& client : clients) {
        if (!CanTell(client))
            continue;
        const platform::CPrivateFiles files(m_settings.PrivateFor(m_clients.OwnerOf(client)));
        const HRESULT told = ComGuard([&] {
            tell(client);
            return S_OK;
        });
        if (FAILED(told))
            ReportResult(ReportLines::kClientNotTold, L"CZelProcessorServer::TellClients",
                         L"A client could not be told of a change: ", told);
        if (m_clients.Contains(client))
            continue;
        if (m_settings.m_options.presence)
            m_clients.RemoveFiles(client); // it may have died
        else
            m_clients.RemoveEventsFile(client);
    }
}

void CChangeNotifier::ForgetWhoLeft()
{
    std::erase_if(m_pendingGroups, [&](const auto& pending) { return !m_clients.Contains(pending.first); });
    std::erase_if(m_heldEvents, [&](const auto& held) { return !m_clients.Contains(held.first); });
    std::erase_if(m_lockedOut, [&](const GUID& client) { return !m_clients.Contains(client); });
}

bool CChangeNotifier::CanTell(const GUID& clientId) const
{
    return m_isRunning && m_clients.Contains(clientId);
}

/// Names, once, what keeps the server from a client's lock. That the client itself has it for a moment is nothing to
/// tell of.
void CChangeNotifier::TellLockedOut(const GUID& clientId, const CString& path, bool isWaitOver)
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

void CChangeNotifier::Keep(CDsEventsDataVector& kept, IWQ_DsEventsData* event) const
{
    kept.emplace_back(event);
    Bound(kept, m_settings.m_options.eventsLimit);
}

void CChangeNotifier::SendEventsDataToClient(const GUID& clientId, IWQ_DsEventsData* event)
{
    if (!event)
        return;
    const CReporter report(L"CZelProcessorServer::SendEventsDataToClient", [&] { return CanTell(clientId); });
    const CString path = m_settings.m_paths.DsEvents(clientId);
    CLockFile lock(path);
    if (!lock.Lock(false)) {
        Keep(m_pendingEvents, event); // the client is reading
        TellLockedOut(clientId, path, false);
        return;
    }
    // Somebody who kept the file open the last time is not waited for again.
    static constinit const std::atomic<bool> s_isPatient = false;
    const bool wasHeld = m_settings.m_options.patience.has_value() && m_heldEvents.contains(clientId);
    const std::atomic<bool>* const goOn = wasHeld ? &s_isPatient : &m_isRunning;
    CDsEventsDataVector all;
    const DsEventsFile::eRead read =
        NotificationFile::HasContent(path) ? DsEventsFile::Read(path, all, goOn) : DsEventsFile::eRead_Done;
    if (read != DsEventsFile::eRead_Done) {
        const bool isHeld = read == DsEventsFile::eRead_NotOpened && m_settings.m_options.patience.has_value();
        if (isHeld)
            Keep(m_heldEvents[clientId], event);
        if (!isHeld || !wasHeld)
            report.Fail(ReportLines::kEventsNotRead, L"Unable to read ds events file !");
        report.Unlock(lock, ReportLines::kEventsNotUnlockedUnread, L"Unable to Unlock file lock (1) !");
        return;
    }
    if (const auto held = m_heldEvents.find(clientId); held != m_heldEvents.end())
        all.insert(all.end(), held->second.begin(), held->second.end());
    all.insert(all.end(), m_pendingEvents.begin(), m_pendingEvents.end());
    Keep(all, event);
    const bool written = DsEventsFile::Write(path, all, goOn);
    if (!CanTell(clientId))
        return; // nobody will read it: what was pending still is
    m_pendingEvents.clear();
    if (!written) {
        if (!wasHeld)
            report.Fail(ReportLines::kEventsNotWritten, L"Unable to write ds events file !");
        if (m_settings.m_options.patience.has_value())
            m_heldEvents[clientId].clear(); // they are among all
        m_pendingEvents = std::move(all);
        report.Unlock(lock, ReportLines::kEventsNotUnlockedUnwritten, L"Unable to Unlock file lock (2) !");
        return;
    }
    m_heldEvents.erase(clientId);
    report.Unlock(lock, ReportLines::kEventsNotUnlocked, L"Unable to Unlock file lock (3) !");
}

/// Takes the lock of a file, waiting for who was not locked out the last time. The caller reports that it could not
/// where that is to be told.
bool CChangeNotifier::Lock(CLockFile& lock, const GUID& clientId, const CString& path, bool& isToldOf)
{
    isToldOf = !m_settings.m_options.patience || !m_lockedOut.contains(clientId);
    if (!lock.Lock(isToldOf, m_isRunning)) {
        TellLockedOut(clientId, path, m_settings.m_options.patience.has_value());
        return false;
    }
    m_lockedOut.erase(clientId);
    return true;
}

void CChangeNotifier::SendChangedPaletteGroupsToClient(const GUID& clientId, const std::vector<GUID>& groups)
{
    const CReporter report(L"CZelProcessorServer::SendChangedPaletteGroupsToClient", [&] { return CanTell(clientId); });
    const CString path = m_settings.m_paths.InsertableItems(clientId);
    std::vector<GUID>& pending = m_pendingGroups[clientId];
    std::vector<GUID> news = pending;
    news.insert(news.end(), groups.begin(), groups.end());
    pending = ChangedGroupsFile::WithoutRepeats(news); // until they are written, whatever leaves this function
    CLockFile lock(path);
    bool isToldOf = false;
    if (!Lock(lock, clientId, path, isToldOf)) {
        if (isToldOf)
            report.Fail(ReportLines::kGroupsNotLocked, kUnableToLock);
        return;
    }
    std::vector<GUID> all;
    if (!ReadWaiting(path, all))
        return report.Unlock(lock, ReportLines::kGroupsNotUnlocked, kUnableToUnlock);
    all.insert(all.end(), news.begin(), news.end());
    if (m_settings.m_options.eventsLimit != 0)
        all = ChangedGroupsFile::Bounded(std::move(all));
    if (!ChangedGroupsFile::Write(path, all)) {
        pending = ChangedGroupsFile::WithoutRepeats(all);
        static_cast<void>(platform::WriteWholeFile(path, {})); // half a file would be taken for a damaged one
        return report.Fail(ReportLines::kGroupsNotWritten, L"Unable to write the changed groups !");
    }
    m_pendingGroups.erase(clientId);
    report.Unlock(lock, ReportLines::kGroupsNotUnlocked, kUnableToUnlock);
}

void CChangeNotifier::SendChangedLockResultsToClient(const GUID& clientId)
{
    const CReporter report(L"CZelProcessorServer::SendChangedLockResultsToClient", [&] { return CanTell(clientId); });
    const CString path = m_settings.m_paths.LockResults(clientId);
    CLockFile lock(path);
    bool isToldOf = false;
    if (!Lock(lock, clientId, path, isToldOf)) {
        if (isToldOf)
            report.Fail(ReportLines::kLockResultsNotLocked, kUnableToLock);
        return;
    }
    if (!LockResultsFile::Write(path))
        return report.Fail(ReportLines::kLockResultsNotWritten, L"Unable to write the change of lock results !");
    report.Unlock(lock, ReportLines::kLockResultsNotUnlocked, kUnableToUnlock);
}
