#pragma once

#include "ClientRecords.h"
#include "ZEL_Processor/ZelTypes.h"

#include <map>
#include <vector>

class CClientRegistry;
class CLostAndFound;
struct CServerSettings;

/// The clients that were registered with an earlier server, by their files in the output directory. For one thread.
class CResumedClients {
public:
    explicit CResumedClients(const CServerSettings& settings) : m_settings(settings), m_records(settings) {}

    /// True when the name is that of a client's file, which is remembered.
    bool Take(const CString& name);
    /// Registers them, oldest first, and removes the files of those that are not registered.
    [[nodiscard]] platform::eOsError Register(CClientRegistry& registry, std::size_t& clients) const;
    /// Whether a file is the answer to a registration that counts.
    [[nodiscard]] bool IsAnswer(const CClientRegistry& registry, const CString& name) const;

private:
    [[nodiscard]] bool IsRegistered(const GUID& clientId) const;

    const CServerSettings& m_settings;
    const CClientRecords m_records;
    std::map<GUID, std::vector<CString>, SGuidLess> m_files;
};
