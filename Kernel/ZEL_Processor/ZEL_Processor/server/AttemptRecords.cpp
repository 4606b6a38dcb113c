#include "AttemptRecords.h"
#include "RecordFolder.h"
#include "ServerSettings.h"
#include "TurnList.h"
#include "platform/Os.h"
#include "platform/Path.h"

#include <algorithm>
#include <charconv>

platform::eOsError CAttemptRecords::ReadAll(std::map<CString, unsigned>& attempts) const
{
    return Folder().Visit([&](const CString& name, const std::string& bytes) {
        unsigned number = 0;
        static_cast<void>(std::from_chars(bytes.data(), bytes.data() + bytes.size(), number));
        attempts[name] = std::max(number, 1U);
    });
}

platform::eOsError CAttemptRecords::Begin(const TSRequestItem& item) const
{
    if (!IsRecorded(item))
        return platform::eOsError_None;
    const CString name = platform::FileNameOf(item.m_strFile);
    const platform::eOsError error = Folder().Write(name, std::to_string(item.m_nAttempts + 1));
    // A record of a file whose way into the queue a power cut can undo would tell of nothing.
    return m_settings.MarksRuns() && platform::Succeeded(error)
               ? platform::SyncDirectory(m_settings.m_paths.m_strQueueDir)
               : error;
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
    return m_settings.m_options.resume && (item.m_nAttempts != 0 || m_settings.MarksRuns());
}

CRecordFolder CAttemptRecords::Folder() const
{
    return {m_settings.m_paths.InOwnFolder(L"attempts"), m_settings.m_options.syncing};
}
