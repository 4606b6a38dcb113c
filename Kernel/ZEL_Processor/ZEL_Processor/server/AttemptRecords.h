#pragma once

#include "ZEL_Processor/ZelTypes.h"
#include "platform/OsError.h"

#include <chrono>
#include <map>

class CRecordFolder;
struct CServerSettings;
struct TSRequestItem;

struct SAttempts {
    unsigned runs = 1;                  ///< that were begun; 0 while it waits for its next attempt
    std::chrono::milliseconds limit{0}; ///< which the last one had reached; 0 when it had not
    unsigned failed = 0;                ///< attempts of a request that may have several (TSRequestItem::m_nFailedRuns)

    bool operator==(const SAttempts&) const = default;
};

/// How often runs were begun of requests whose run the end of a server may have interrupted: a request that ends the
/// server must not do so for ever. A first run has no record, for it must not cost anything; where interrupted requests
/// are to fail, it has one, for a power cut may undo the status that tells of the run. So has one that reached its time
/// limit, and one of which an attempt has failed. Safe from any thread.
class CAttemptRecords {
public:
    explicit CAttemptRecords(const CServerSettings& settings) : m_settings(settings) {}

    /// What the servers before left, by the name of the request; at least 1 run for each.
    [[nodiscard]] platform::eOsError ReadAll(std::map<CString, SAttempts>& attempts) const;
    /// Before a run. It must not begin when this fails.
    [[nodiscard]] platform::eOsError Begin(const TSRequestItem& item) const;
    /// That the run goes on although it was to end: whatever the server's end is, it is not begun again. name: of the
    /// request. Forget takes it back.
    [[nodiscard]] platform::eOsError ReachLimit(const CString& name, const SAttempts& attempts) const;
    /// That the request waits for its next attempt, after End.
    [[nodiscard]] platform::eOsError Fail(const TSRequestItem& item) const;
    /// After a run that the server has outlived.
    void End(const TSRequestItem& item) const;
    void Forget(const CString& name) const;

private:
    [[nodiscard]] bool IsRecorded(const TSRequestItem& item) const;
    [[nodiscard]] CRecordFolder Folder() const;

    const CServerSettings& m_settings;
};
