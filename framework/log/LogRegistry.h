#pragma once

#include "framework/LogOptions.h"
#include "platform/FaultMutex.h"

#include <atomic>
#include <map>
#include <memory>
#include <string>

class CLogOutput;

/// The loggers of the default host by name, all over one output. From any thread. When a fault has left its lock taken,
/// each line gets a logger of its own, and lines are as ever.
class CLogRegistry {
public:
    CLogRegistry();
    ~CLogRegistry();
    CLogRegistry(const CLogRegistry&) = delete;
    CLogRegistry& operator=(const CLogRegistry&) = delete;

    [[nodiscard]] std::shared_ptr<Brel::Log::Logger> Get(const std::string& name);
    bool Configure(const Brel::Log::SLogOptions& options, std::wstring* errorText);

    /// The one of this process; never destroyed.
    [[nodiscard]] static CLogRegistry& Instance();

private:
    [[nodiscard]] std::shared_ptr<Brel::Log::Logger> Make(const std::string& name) const;

    const std::shared_ptr<CLogOutput> m_pOutput;
    std::atomic<Brel::Log::eLogLevel> m_eLevel = Brel::Log::eLogLevel_Info;
    platform::CFaultMutex m_mutex;
    std::map<std::string, std::shared_ptr<Brel::Log::Logger>> m_loggers ZEL_GUARDED_BY(m_mutex);
};
