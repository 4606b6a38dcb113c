#include "AttemptRecords.h"
#include "RecordFolder.h"
#include "ServerSettings.h"
#include "TurnList.h"
#include "platform/Os.h"
#include "platform/Path.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <string_view>

namespace {

/// Between the number of runs and the limit, in milliseconds.
constexpr std::string_view kLimit = " limit ";
/// Before the number of attempts that failed.
constexpr std::string_view kFailed = " failed ";

std::string TextOf(unsigned runs, unsigned failed)
{
    return std::to_string(runs) + (failed == 0 ? std::string() : std::string(kFailed) + std::to_string(failed));
}

} // namespace

platform::eOsError CAttemptRecords::ReadAll(std::map<CString, SAttempts>& attempts) const
{
    return Folder().Visit([&](const CString& name, const std::string& bytes) {
        const char* const end = bytes.data() + bytes.size();
        SAttempts read{.runs = 0};
        std::string_view rest(std::from_chars(bytes.data(), end, read.runs).ptr, end);
        std::chrono::milliseconds::rep limit = 0;
        if (rest.starts_with(kLimit))
            static_cast<void>(std::from_chars(rest.data() + kLimit.size(), end, limit));
        if (rest.starts_with(kFailed))
            static_cast<void>(std::from_chars(rest.data() + kFailed.size(), end, read.failed));
        if (read.failed == 0)
            read.runs = std::max(read.runs, 1U);
        read.limit = std::chrono::milliseconds(std::max<std::chrono::milliseconds::rep>(limit, 0));
        attempts[name] = read;
    });
}

platform::eOsError CAttemptRecords::ReachLimit(const CString& name, const SAttempts& attempts) const
{
    return Folder().Write(name,
                          std::to_string(attempts.runs) + std::string(kLimit) + std::to_string(attempts.limit.count()));
}

platform::eOsError CAttemptRecords::Begin(const TSRequestItem& item) const
{
    if (!IsRecorded(item))
        return platform::eOsError_None;
    const CString name = platform::FileNameOf(item.m_strFile);
    const platform::eOsError error = Folder().Write(name, TextOf(item.m_nAttempts + 1, item.m_nFailedRuns));
    // A record of a file whose way into the queue a power cut can undo would tell of nothing.
    return m_settings.MarksRuns() && platform::Succeeded(error)
               ? platform::SyncDirectory(m_settings.m_paths.m_strQueueDir)
               : error;
}

platform::eOsError CAttemptRecords::Fail(const TSRequestItem& item) const
{
    return m_settings.m_options.resume
               ? Folder().Write(platform::FileNameOf(item.m_strFile), TextOf(0, item.m_nFailedRuns + 1U))
               : platform::eOsError_None;
}

void CAttemptRecords::End(const TSRequestItem& item) const
{
    if (IsRecorded(item))
        Forget(platform::FileNameOf(item.m_strFile));
}

void CAttemptRecords::Forget(const CString& name) const
{
    Folder().Remove(name);
}

bool CAttemptRecords::IsRecorded(const TSRequestItem& item) const
{
    return m_settings.m_options.resume && (item.m_nAttempts != 0 || item.m_nFailedRuns != 0 || m_settings.MarksRuns());
}

CRecordFolder CAttemptRecords::Folder() const
{
    return {m_settings.m_paths.InOwnFolder(L"attempts"), m_settings.m_options.syncing};
}
