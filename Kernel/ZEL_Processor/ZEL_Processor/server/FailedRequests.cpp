#include "FailedRequests.h"
#include "EndedRequests.h"
#include "RecordFolder.h"
#include "ServerSettings.h"
#include "TurnList.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/Installation.h"
#include "platform/NameKind.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/PrivateFiles.h"
#include "platform/SourceLocation.h"
#include "platform/Text.h"
#include "protocol/HandOver.h"
#include "reports/SourceNames.h"

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

using namespace std::chrono_literals;

namespace {

/// Behind the name of a request whose file is not there yet: its record.
constexpr const wchar_t* kBegunExtension = L".new";
/// The file of one that is being removed.
constexpr const wchar_t* kOldExtension = L".old";
constexpr std::int64_t kNanoseconds = 1'000'000'000;

void Tell(Brel::Log::eLogLevel level, const CString& text)
{
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), level, ZEL_SOURCE_LOCATION, text);
}

bool EndsWith(const CString& name, const wchar_t* extension)
{
    return platform::EqualsNoCase(platform::ExtensionOf(name), extension);
}

CString WithoutExtension(const CString& name)
{
    return name.substr(0, name.rfind(L'.'));
}

void Remove(const CString& path)
{
    static_cast<void>(platform::Files().Remove(path));
}

void TellRemoved(std::size_t count)
{
    if (count != 0)
        Tell(Brel::Log::eLogLevel_Info,
             L"Failed requests that were kept and are removed now: " + std::to_wstring(count));
}

} // namespace

bool CFailedRequests::Begin(const TSRequestItem& item, const SFailedRecord& record)
{
    const CString name = platform::FileNameOf(item.m_strFile);
    // What is no request by its name could be taken for a record. Of a link only its owner knows what it leads to
    // later.
    if (m_settings.m_options.keepFailed == 0s || Protocol::GetFileKind(name) != Protocol::eFileKind_Request ||
        platform::NameKind(item.m_strFile) == platform::eNameKind_Link)
        return false;
    const platform::CPrivateFiles files(m_settings.PrivateFor(item.m_strOwner));
    platform::eOsError error = MakeOwnFolder(m_settings.m_paths.InOwnFolder({}));
    if (platform::Succeeded(error))
        error = MakeOwnFolder(m_settings.m_paths.InOwnFolder(Protocol::kFailedDirectory));
    if (platform::Succeeded(error))
        error = CRecordFolder(m_settings.m_paths.InOwnFolder(Protocol::kFailedDirectory),
                              m_settings.m_options.resume && m_settings.m_options.syncing)
                    .Write(name + kBegunExtension, FailedRecord::ToText(record));
    if (platform::Succeeded(error))
        return true;
    Forget(name);
    Tell(Brel::Log::eLogLevel_Warning,
         L"The failed request " + name + L" cannot be kept: " + platform::OsErrorText(error));
    return false;
}

platform::eOsError CFailedRequests::Take(const CString& path)
{
    return Finish(platform::FileNameOf(path), MoveThere(path));
}

platform::eOsError CFailedRequests::MoveThere(const CString& path) const
{
    return platform::Files().Move(path, PathOf(platform::FileNameOf(path)), platform::eMoveFlag_ReplaceExisting);
}

platform::eOsError CFailedRequests::Finish(const CString& name, platform::eOsError moved)
{
    if (platform::HasMoved(moved)) {
        // In this order: whatever is killed between the two, the start finds a record to which there is a file.
        FinishRecord(name);
        if (m_nTaken++ >= kSlack)
            RemoveBeyondLimit();
        return platform::eOsError_None;
    }
    if (platform::IsAbsent(moved))
        Forget(name);
    return moved;
}

/// Its readers have the one of before for microseconds; to replace what is in use is denied.
void CFailedRequests::FinishRecord(const CString& name) const
{
    static_cast<void>(Protocol::RetryForASecond([&] {
        const platform::eOsError error = platform::Files().Move(BegunPathOf(name), FailedRecord::PathOf(PathOf(name)),
                                                                platform::eMoveFlag_ReplaceExisting);
        return error == platform::eOsError_AccessDenied ? platform::eOsError_SharingViolation : error;
    }));
}

bool CFailedRequests::IsBegun(const CString& name) const
{
    return IsOurs() && platform::PathExists(BegunPathOf(name));
}

void CFailedRequests::Forget(const CString& name) const
{
    if (IsOurs())
        Remove(BegunPathOf(name));
}

void CFailedRequests::TakeOver() const
{
    if (!IsOurs())
        return;
    std::vector<CString> left;
    static_cast<void>(platform::Files().Visit(
        m_settings.m_paths.InOwnFolder(Protocol::kFailedDirectory), [&](const platform::SDirectoryEntry& entry) {
            if (EndsWith(entry.name, kBegunExtension) || EndsWith(entry.name, kOldExtension))
                left.push_back(entry.name);
            return true;
        }));
    for (const CString& file : left) {
        const CString name = WithoutExtension(file);
        const CString kept = PathOf(name);
        if (EndsWith(file, kOldExtension)) {
            Remove(PathOf(file));
        } else if (platform::PathExists(m_settings.m_paths.InQueue(name))) {
            Remove(BegunPathOf(name)); // its run had not ended yet
        } else if (!platform::PathExists(
                       platform::JoinPath(m_settings.m_paths.InOwnFolder(CEndedRequests::kFolder), name))) {
            if (platform::PathExists(kept))
                FinishRecord(name);
            else
                Remove(BegunPathOf(name));
        }
    }
}

platform::eOsError CFailedRequests::PutIntoQueue(const CString& name) const
{
    if (!IsOurs() || Protocol::GetFileKind(name) != Protocol::eFileKind_Request || !platform::IsPlainFileName(name))
        return platform::eOsError_FileNotFound;
    return Protocol::MoveWhenFree(PathOf(name), m_settings.m_paths.InQueue(name), m_settings.MoveFlags(),
                                  m_settings.BriefPatience());
}

void CFailedRequests::Forgive(const CString& name) const
{
    // Not that of one which is on its way here.
    if (!platform::PathExists(PathOf(name)))
        Remove(FailedRecord::PathOf(PathOf(name)));
}

platform::eOsError CFailedRequests::Discard(const CString& name) const
{
    if (!IsOurs() || Protocol::GetFileKind(name) != Protocol::eFileKind_Request || !platform::IsPlainFileName(name))
        return platform::eOsError_FileNotFound;
    const platform::eOsError error = Protocol::RemoveWhenFree(PathOf(name), m_settings.BriefPatience());
    if (platform::Succeeded(error))
        Forgive(name);
    return error;
}

void CFailedRequests::RemoveOld(const std::function<bool()>& goOn) const
{
    if (m_settings.m_options.keepFailed == 0s || !IsOurs())
        return;
    const std::int64_t now = platform::Clock().UtcSeconds();
    std::vector<std::pair<CString, std::int64_t>> old;
    VisitKept([&](const CString& name, std::int64_t when) {
        if (now - when / kNanoseconds >= m_settings.m_options.keepFailed.count())
            old.emplace_back(name, when);
        return goOn();
    });
    std::size_t count = 0;
    for (const auto& [name, when] : old)
        count += goOn() && Drop(name, when) ? 1U : 0U;
    TellRemoved(count);
}

void CFailedRequests::RemoveBeyondLimit()
{
    std::vector<std::pair<std::int64_t, CString>> kept;
    VisitKept([&](const CString& name, std::int64_t when) {
        kept.emplace_back(when, name);
        return true;
    });
    m_nTaken = 0;
    if (kept.size() <= kMost)
        return;
    std::ranges::sort(kept);
    kept.resize(kept.size() - kMost);
    TellRemoved(static_cast<std::size_t>(
        std::ranges::count_if(kept, [this](const auto& entry) { return Drop(entry.second, entry.first); })));
}

/// Each with the time of its failure, which is that of its record; one without a record came at the beginning.
void CFailedRequests::VisitKept(const std::function<bool(const CString& name, std::int64_t when)>& visitor) const
{
    const CString folder = m_settings.m_paths.InOwnFolder(Protocol::kFailedDirectory);
    static_cast<void>(platform::Files().Visit(folder, [&](const platform::SDirectoryEntry& entry) {
        if (entry.isDirectory || Protocol::GetFileKind(entry.name) != Protocol::eFileKind_Request)
            return true;
        platform::SFileAttributes record;
        static_cast<void>(platform::Files().GetAttributes(FailedRecord::PathOf(PathOf(entry.name)), record));
        return visitor(entry.name, record.times.modified);
    }));
}

/// Removes one that failed at that time. One of the name that fails now is left: its record is begun before its file
/// comes, and the file is away while that is looked at.
bool CFailedRequests::Drop(const CString& name, std::int64_t when) const
{
    const CString kept = PathOf(name);
    const CString aside = kept + kOldExtension;
    if (!platform::Succeeded(platform::Files().Move(kept, aside, platform::eMoveFlag_ReplaceExisting)))
        return false;
    platform::SFileAttributes record;
    static_cast<void>(platform::Files().GetAttributes(FailedRecord::PathOf(kept), record));
    if (platform::PathExists(BegunPathOf(name)) || record.times.modified != when) {
        static_cast<void>(platform::Files().Move(aside, kept, platform::eMoveFlag_None));
        return false;
    }
    Remove(FailedRecord::PathOf(kept));
    Remove(aside);
    return true;
}

CString CFailedRequests::PathOf(const CString& name) const
{
    return platform::JoinPath(m_settings.m_paths.InOwnFolder(Protocol::kFailedDirectory), name);
}

CString CFailedRequests::BegunPathOf(const CString& name) const
{
    return PathOf(name) + kBegunExtension;
}

/// Whoever may create names in the output directory could have put the folder there.
bool CFailedRequests::IsOurs() const
{
    return platform::Succeeded(platform::CheckOwnDirectory(m_settings.m_paths.InOwnFolder({}))) &&
           platform::Succeeded(platform::CheckOwnDirectory(m_settings.m_paths.InOwnFolder(Protocol::kFailedDirectory)));
}
