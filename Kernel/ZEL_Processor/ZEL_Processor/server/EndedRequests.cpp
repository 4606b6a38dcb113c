#include "EndedRequests.h"
#include "ServerSettings.h"
#include "framework/Services.h"
#include "platform/Installation.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "reports/ReportLines.h"
#include "reports/SourceNames.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

namespace {

constexpr const wchar_t* kStartFile = L"started";
constexpr std::size_t kMaxStartBytes = 128;
/// Both clocks have their steps.
constexpr std::int64_t kSameStartSeconds = 2;

/// When this system was started, by its clock.
std::int64_t SystemStart()
{
    const auto running = std::chrono::duration_cast<std::chrono::seconds>(platform::Clock().Steady());
    return platform::Clock().UtcSeconds() - running.count();
}

/// Whether the system was started since the server that left this record, or may have been. Where the system names its
/// starts, the name alone decides. Elsewhere the clocks do: one that was set looks like another start, which costs a
/// few runs; one that begins anew where it was, as on a machine that keeps no time, hides it.
bool IsOtherSystemStart(const CString& recordPath)
{
    std::string bytes;
    std::int64_t start = 0;
    static_cast<void>(platform::ReadWholeFile(recordPath, platform::eOpenMode_ReadShared, bytes, kMaxStartBytes));
    const char* const end = bytes.data() + bytes.size();
    const auto parsed = std::from_chars(bytes.data(), end, start);
    // One without the name is of a time before names, or the part of it that a power cut has left.
    const std::string id = platform::Clock().SystemStartId();
    if (!id.empty())
        return ' ' + id != std::string_view(parsed.ptr, end);
    return parsed.ec != std::errc() || std::abs(start - SystemStart()) > kSameStartSeconds;
}

} // namespace

bool CEndedRequests::IsWanted() const
{
    return m_settings.m_options.resume && m_settings.m_options.syncing;
}

platform::eOsError CEndedRequests::Keep(const CString& queuedPath, eEnd end, const Protocol::GoOn& goOn)
{
    ++m_nSinceFlush;
    const auto isThis = [&](const SLeft& left) { return left.path == queuedPath; };
    std::erase_if(m_left, isThis);
    platform::eOsError error = Protocol::RetryWhileShared([&] { return TakeAway(queuedPath, end); }, goOn);
    if (platform::Succeeded(error) || platform::IsAbsent(error))
        return error;
    if (error != platform::eOsError_SharingViolation)
        error = TakeAway(queuedPath, end); // most failures have passed
    if (platform::Succeeded(error))
        return error;
    if (m_left.size() == kMostLeft)
        m_left.erase(m_left.begin());
    m_left.push_back({queuedPath, end});
    m_pause = kPause;
    return error;
}

platform::eOsError CEndedRequests::TakeAway(const CString& queuedPath, eEnd end)
{
    if (!IsWanted())
        return end == eEnd_Failed ? m_failed.Take(queuedPath) : platform::Files().Remove(queuedPath);
    const CString name = platform::FileNameOf(queuedPath);
    if (m_pNames)
        m_pNames->Hold(name);
    const platform::eOsError moved = MoveAway(queuedPath, name);
    const platform::eOsError error = platform::HasMoved(moved) ? platform::eOsError_None : moved;
    if (platform::Succeeded(error))
        m_ended.push_back({name, end});
    else if (m_pNames)
        m_pNames->Release(name);
    // A fault came after the file was kept, and before its request was told to be done.
    bool isKept = platform::Succeeded(error);
    for (SEnded& ended : m_ended) {
        if (!platform::IsAbsent(error) || ended.name != name)
            continue;
        ended.end = end;
        isKept = true;
    }
    const bool hasFailed = end == eEnd_Failed;
    // The record of the one before must not wait for the file of this one.
    if (isKept && m_pNames && m_pNames->SetFailed(name, hasFailed) && !hasFailed)
        m_failed.Forget(name);
    return error;
}

platform::eOsError CEndedRequests::MoveAway(const CString& queuedPath, const CString& name) const
{
    // The record of the run goes next; without it a file that came back would run again.
    const unsigned flags = Protocol::MoveFlags(m_settings.MarksRuns(), true);
    const auto move = [&] { return platform::Files().Move(queuedPath, PathOf(name), flags); };
    const platform::eOsError error = move();
    const bool isFirst = error == platform::eOsError_PathNotFound;
    return isFirst && platform::Succeeded(platform::MakeDirectories(Folder())) ? move() : error;
}

platform::eOsError CEndedRequests::EndWithoutResponse(const CString& queuedPath, const std::function<void()>& tell,
                                                      eEnd end)
{
    const auto remove = [&] {
        return Protocol::RemoveWhenFree(m_settings.m_paths.Output(queuedPath), m_settings.BriefPatience());
    };
    const auto isGone = [](platform::eOsError error) {
        return platform::Succeeded(error) || platform::IsAbsent(error);
    };
    // A start takes a response without a queued file for a whole one, unless an end has been told.
    const bool isToldFirst = !isGone(remove()) && !isGone(remove());
    if (isToldFirst)
        tell();
    const platform::eOsError error = Keep(queuedPath, end, m_settings.BriefPatience());
    if (!isToldFirst)
        tell();
    return error;
}

void CEndedRequests::TakeLeftAway()
{
    std::vector<SLeft> left;
    left.swap(m_left);
    for (SLeft& file : left) {
        const platform::eOsError error = TakeAway(file.path, file.end);
        if (!platform::Succeeded(error) && !platform::IsAbsent(error))
            m_left.push_back(std::move(file));
    }
}

void CEndedRequests::Flush()
{
    TakeLeftAway();
    std::vector<SEnded> group;
    group.swap(m_ended);
    bool isAny = false;
    const platform::eOsError error = SyncGroup(group, isAny);
    if (isAny || !platform::Succeeded(error))
        Tell(error);
    for (SEnded& ended : group) {
        bool hasFailed = ended.end == eEnd_Failed;
        const platform::eOsError gone = LetGo(ended.name, hasFailed);
        if (!hasFailed || platform::Succeeded(gone) || platform::IsAbsent(gone))
            continue;
        ended.end = eEnd_Failed;
        if (m_pNames)
            m_pNames->Hold(ended.name, true);
        m_ended.push_back(ended); // somebody has it open
    }
    while (m_ended.size() > kMostLeft) { // it is there for the next start
        if (m_pNames)
            m_pNames->Release(m_ended.front().name);
        m_ended.erase(m_ended.begin());
    }
    m_nSinceFlush = 0;
    m_pause = IsEmpty() ? kPause : std::min(2 * m_pause, kLongestPause);
}

/// Absent when another thread keeps a newer one of this name. hasFailed: whether the request of the file that goes has.
platform::eOsError CEndedRequests::LetGo(const CString& name, bool& hasFailed)
{
    platform::eOsError error = platform::eOsError_FileNotFound;
    bool isLast = false;
    const auto letGo = [&](bool hasLastFailed) {
        isLast = true;
        hasFailed = hasLastFailed;
        const CString path = PathOf(name);
        error = hasFailed ? m_failed.MoveThere(path) : platform::Files().Remove(path);
    };
    if (m_pNames)
        m_pNames->Release(name, hasFailed, letGo);
    else
        letGo(hasFailed);
    return isLast && hasFailed ? m_failed.Finish(name, error) : error;
}

/// Once for a device that goes on failing.
void CEndedRequests::Tell(platform::eOsError error)
{
    const bool isTold = std::exchange(m_bFails, !platform::Succeeded(error));
    if (isTold || !m_bFails)
        return;
    WQ_ReportErrorNow(SourceNames::kZelProcessorServer, ReportLines::kResponsesNotSynced,
                      L"CZelProcessorServer::ProcessQueue",
                      L"Responses may not survive a power cut: " + m_settings.m_paths.m_strOutputDir + L"\n" +
                          platform::OsErrorText(error));
}

/// Leaves in the group what is on the device, or in its client's hands. The rest is for the next time. Gives the last
/// failure. isAny: something was synced.
platform::eOsError CEndedRequests::SyncGroup(std::vector<SEnded>& group, bool& isAny)
{
    platform::eOsError failure = platform::eOsError_None;
    std::erase_if(group, [&](const SEnded& ended) {
        const platform::eOsError error = SyncEnd(ended);
        isAny |= platform::Succeeded(error);
        const bool isThrough =
            platform::Succeeded(error) || platform::IsAbsent(error) || error == platform::eOsError_LinkInTheWay;
        if (isThrough)
            return false;
        if (error != platform::eOsError_SharingViolation && error != platform::eOsError_AccessDenied)
            failure = error;
        Hold(ended, error);
        return true;
    });
    const platform::eOsError error =
        isAny ? platform::SyncDirectory(m_settings.m_paths.m_strOutputDir) : platform::eOsError_None;
    if (platform::Succeeded(error))
        return failure;
    for (const SEnded& ended : group)
        Hold(ended, error);
    group.clear();
    return error;
}

/// A system that could not write says so once, and calls the next sync a success although the data may be gone.
void CEndedRequests::Hold(SEnded ended, platform::eOsError error)
{
    ended.isDoubtful |= error == platform::eOsError_IoError || error == platform::eOsError_DiskFull;
    m_ended.push_back(std::move(ended));
}

/// Absent when its client has taken it; he has synced a response himself.
platform::eOsError CEndedRequests::SyncEnd(const SEnded& ended) const
{
    const auto sync = [&](const CString& path) {
        if (!ended.isDoubtful)
            return platform::Files().SyncFile(path);
        return platform::PathExists(path) ? platform::eOsError_SharingViolation : platform::eOsError_FileNotFound;
    };
    platform::eOsError error = platform::eOsError_FileNotFound;
    if (ended.end != eEnd_Status && ended.end != eEnd_Failed)
        error = sync(m_settings.m_paths.Output(ended.name));
    if (platform::IsAbsent(error) && ended.end != eEnd_Response)
        error = sync(m_settings.m_paths.Status(ended.name));
    return error;
}

platform::eOsError CEndedRequests::TakeOver()
{
    const platform::eOsError error = platform::Files().Visit(Folder(), [this](const platform::SDirectoryEntry& entry) {
        if (!entry.isDirectory)
            m_ended.push_back({entry.name, m_failed.IsBegun(entry.name) ? eEnd_Failed : eEnd_Either});
        return true;
    });
    return platform::IsAbsent(error) ? platform::eOsError_None : error;
}

bool CEndedRequests::MayHaveBeenCut() const
{
    return IsOtherSystemStart(m_settings.m_paths.InOwnFolder(kStartFile));
}

void CEndedRequests::KeepSystemStart() const
{
    // Lost, it counts as another start.
    const std::string id = platform::Clock().SystemStartId();
    static_cast<void>(platform::WriteWholeFile(m_settings.m_paths.InOwnFolder(kStartFile),
                                               std::to_string(SystemStart()) + (id.empty() ? "" : ' ' + id)));
}

std::vector<CString> CEndedRequests::TakeNames()
{
    std::vector<CString> names;
    for (SEnded& ended : m_ended)
        names.push_back(std::move(ended.name));
    m_ended.clear();
    return names;
}

platform::eOsError CEndedRequests::LetGo(const CString& name)
{
    bool hasFailed = m_failed.IsBegun(name);
    return LetGo(name, hasFailed);
}

CString CEndedRequests::PathOf(const CString& name) const
{
    return platform::JoinPath(Folder(), name);
}

/// Without a separator at its end, which would lead through a link.
CString CEndedRequests::Folder() const
{
    return m_settings.m_paths.InOwnFolder(kFolder);
}
