#include "ClientMail.h"

#include "ClientRegistry.h"
#include "com/ComObject.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/PrivateFiles.h"
#include "platform/Text.h"
#include "protocol/ChangedGroupsFile.h"
#include "protocol/HeldFile.h"
#include "protocol/LockNote.h"
#include "protocol/LockResultsFile.h"
#include "protocol/NotificationFile.h"
#include "reports/ReportLines.h"
#include "reports/SourceNames.h"

#include <algorithm>
#include <utility>

namespace {

constexpr const wchar_t* kFunction = L"CZelProcessorServer::TellClients";
/// Shorter than the listener's turn while something waits: one that comes early must not put it off to the one after.
constexpr std::chrono::milliseconds kBetweenRounds{100};

bool IsEmpty(const CClientMail::SNews& news)
{
    return news.events.count == 0 && news.groups.empty() && !news.areLockResultsChanged;
}

/// Adds the ids that the file does not have yet. Of a damaged one nobody knows what was in it.
platform::eOsError AddGroups(const CString& path, std::vector<GUID>& groups, CString& reason)
{
    ChangedGroupsFile::SContent content;
    const ChangedGroupsFile::eRead read =
        NotificationFile::HasContent(path) ? ChangedGroupsFile::Read(path, content) : ChangedGroupsFile::eRead_Ok;
    if (read == ChangedGroupsFile::eRead_Unreadable)
        return DsEventsFile::WhyNotOpened(path);
    std::vector<GUID> all = read == ChangedGroupsFile::eRead_Damaged ? std::vector<GUID>{GUID{}} : content.ids;
    all.insert(all.end(), groups.begin(), groups.end());
    all = ChangedGroupsFile::WithoutRepeats(all);
    if (all == content.ids || ChangedGroupsFile::Write(path, all, &reason)) {
        groups.clear();
        return platform::eOsError_None;
    }
    groups = std::move(all);
    static_cast<void>(platform::WriteWholeFile(path, {})); // half a file would be taken for a damaged one
    return platform::eOsError_IoError;
}

platform::eOsError WriteLockResults(const CString& path, bool& areChanged, CString& reason)
{
    areChanged = !LockResultsFile::Write(path, &reason);
    return areChanged ? platform::eOsError_IoError : platform::eOsError_None;
}

} // namespace

void CClientMail::Send(const std::vector<GUID>& clients, const SNews& news)
{
    if (IsEmpty(news))
        return;
    {
        const platform::CMutexLock lock(m_csMail);
        std::erase_if(m_boxes, [&](const auto& box) { return !box.second.isBusy && !m_clients.Contains(box.first); });
        for (const GUID& client : clients)
            Join(m_boxes[client].waiting, news);
    }
    for (const GUID& client : clients)
        Deliver(client);
}

bool CClientMail::TryAgain()
{
    if (!m_isWaiting)
        return false;
    const std::chrono::nanoseconds now = platform::Clock().Steady();
    // A clock that was set back, as tests do, must not end the tries.
    if (now >= m_lastTry && now - m_lastTry < kBetweenRounds)
        return true;
    m_lastTry = now;
    m_isWaiting = false;
    for (const GUID& client : m_clients.All())
        Deliver(client);
    return m_isWaiting;
}

void CClientMail::Clear()
{
    const platform::CMutexLock lock(m_csMail);
    m_boxes.clear();
    m_isWaiting = false;
}

std::size_t CClientMail::CountWaitingEvents()
{
    const platform::CMutexLock lock(m_csMail);
    std::size_t count = 0;
    for (const auto& [client, box] : m_boxes)
        count += static_cast<std::size_t>(box.waiting.events.count);
    return count;
}

std::size_t CClientMail::CountWaitingGroups()
{
    const platform::CMutexLock lock(m_csMail);
    std::size_t count = 0;
    for (const auto& [client, box] : m_boxes)
        count += box.waiting.groups.size();
    return count;
}

/// Events of more than an archive holds could never be written.
std::uint64_t CClientMail::Limit() const
{
    constexpr std::uint64_t kLargest = SZelServerOptions::kLargestEventsLimit;
    return m_settings.m_options.eventsLimit == 0 ? kLargest : std::min(m_settings.m_options.eventsLimit, kLargest);
}

void CClientMail::Join(SNews& news, const SNews& more) const
{
    DsEventsFile::Add(news.events, more.events, Limit());
    news.groups.insert(news.groups.end(), more.groups.begin(), more.groups.end());
    news.groups = ChangedGroupsFile::WithoutRepeats(news.groups);
    news.areLockResultsChanged |= more.areLockResultsChanged;
}

/// Clients come and go meanwhile: what was written for somebody who went just then is taken away again.
void CClientMail::Deliver(const GUID& client)
{
    const platform::CPrivateFiles files(m_settings.PrivateFor(m_clients.OwnerOf(client)));
    for (SBox box; Take(client, box);) {
        const HRESULT told = ComGuard([&] { return WriteAll(client, box) ? S_OK : S_FALSE; });
        if (FAILED(told))
            WQ_ReportErrorNow(SourceNames::kZelProcessorServer, ReportLines::kClientNotTold, kFunction,
                              L"A client could not be told of a change: " + platform::FromUtf8(CComError(told).what()));
        if (!m_clients.Contains(client))
            m_clients.RemoveFiles(client);
        GiveBack(client, box);
        if (told != S_OK)
            return;
    }
}

bool CClientMail::Take(const GUID& client, SBox& taken)
{
    const platform::CMutexLock lock(m_csMail);
    const auto found = m_boxes.find(client);
    if (!m_isRunning || found == m_boxes.end() || found->second.isBusy || IsEmpty(found->second.waiting) ||
        !m_clients.Contains(client))
        return false;
    taken = std::exchange(found->second, {});
    found->second.isBusy = true;
    return true;
}

/// What could not be delivered stands before what came meanwhile.
void CClientMail::GiveBack(const GUID& client, SBox& taken)
{
    const platform::CMutexLock lock(m_csMail);
    SBox& box = m_boxes[client];
    const SNews cameMeanwhile = std::exchange(box.waiting, {});
    box = std::move(taken); // which is not busy
    Join(box.waiting, cameMeanwhile);
    if (!IsEmpty(box.waiting))
        m_isWaiting = true;
}

/// False when something was not written and stays in the box.
bool CClientMail::WriteAll(const GUID& client, SBox& box) const
{
    SNews& news = box.waiting;
    const SProtocolPaths& paths = m_settings.m_paths;
    bool isDone = true;
    if (news.events.count != 0) {
        const CString path = paths.DsEvents(client);
        isDone &= Write(client, box, ReportLines::kEventsNotWritten, path,
                        [&](CString&) { return DsEventsFile::Append(path, news.events, Limit(), box.end); });
    }
    if (!news.groups.empty()) {
        const CString path = paths.InsertableItems(client);
        isDone &= Write(client, box, ReportLines::kGroupsNotWritten, path,
                        [&](CString& reason) { return AddGroups(path, news.groups, reason); });
    }
    if (news.areLockResultsChanged) {
        const CString path = paths.LockResults(client);
        isDone &= Write(client, box, ReportLines::kLockResultsNotWritten, path,
                        [&](CString& reason) { return WriteLockResults(path, news.areLockResultsChanged, reason); });
    }
    if (isDone) {
        box.held = {};
        box.isToldOf = false;
    }
    return isDone;
}

/// Writes a file under its lock, with one try for each. That somebody holds one of them is told when it lasts, anything
/// else at once, and once until all was written.
bool CClientMail::Write(const GUID& client, SBox& box, long line, const CString& path,
                        const std::function<platform::eOsError(CString&)>& write) const
{
    std::unique_ptr<platform::ILockFile> lock;
    CString met = path + Protocol::kLockExtension;
    CString reason;
    platform::eOsError error = platform::Files().OpenLockFile(met, Protocol::LockNote(), lock);
    if (platform::Succeeded(error)) {
        met = path;
        error = write(reason);
    }
    if (platform::Succeeded(error))
        return true;
    if (error == platform::eOsError_SharingViolation) {
        if (!box.held)
            box.held = HeldFile::WithWarning(met, {});
        static_cast<void>(box.held());
    } else if (m_isRunning && m_clients.Contains(client) && !std::exchange(box.isToldOf, true)) {
        WQ_ReportErrorNow(SourceNames::kZelProcessorServer, line, kFunction,
                          L"A client cannot be told of a change yet: " + met + L": " +
                              (reason.empty() ? platform::OsErrorText(error) : reason));
    }
    return false;
}
