#pragma once

#include "framework/LogOptions.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>

class CLogOutput;

/// The loggers of the default host by name, all over one output. From any thread.
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
    const std::shared_ptr<CLogOutput> m_pOutput;
    std::mutex m_mutex;
    // Guarded by m_mutex.
    std::map<std::string, std::shared_ptr<Brel::Log::Logger>> m_loggers;
    Brel::Log::eLogLevel m_eLevel = Brel::Log::eLogLevel_Info;
};
