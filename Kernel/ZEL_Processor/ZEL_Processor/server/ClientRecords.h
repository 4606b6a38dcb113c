#pragma once

#include "com/Guid.h"
#include "platform/OsError.h"

#include <map>
#include <string>

class CRecordFolder;
struct CServerSettings;

/// Whose command registered which client, and whether he has shown that he lives, where a server that resumes has to
/// know it: the files of the client do not tell. Safe from any thread.
class CClientRecords {
public:
    struct SRecord {
        std::string owner;
        bool isSeen = false;
    };
    using Records = std::map<GUID, SRecord, SGuidLess>;

    explicit CClientRecords(const CServerSettings& settings) : m_settings(settings) {}

    void Write(const GUID& clientId, const SRecord& record) const;
    void Remove(const GUID& clientId) const;
    [[nodiscard]] platform::eOsError ReadAll(Records& records) const;

private:
    [[nodiscard]] CRecordFolder Folder() const;

    const CServerSettings& m_settings;
};
