#include "framework/log/LogRegistry.h"

#include "framework/log/LogOutput.h"
#include "platform/NeverDestroyed.h"

#include <spdlog/logger.h>

namespace {

spdlog::level::level_enum SpdlogLevel(Brel::Log::eLogLevel level)
{
    return static_cast<spdlog::level::level_enum>(level);
}

} // namespace

CLogRegistry::CLogRegistry() : m_pOutput(std::make_shared<CLogOutput>()) {}
CLogRegistry::~CLogRegistry() = default;

std::shared_ptr<Brel::Log::Logger> CLogRegistry::Get(const std::string& name)
{
    const platform::CFaultLock guard(m_mutex);
    if (!guard.IsHeld())
        return Make(name);
    std::shared_ptr<Brel::Log::Logger>& logger = m_loggers[name];
    if (logger == nullptr)
        logger = Make(name);
    return logger;
}

std::shared_ptr<Brel::Log::Logger> CLogRegistry::Make(const std::string& name) const
{
    auto logger = std::make_shared<Brel::Log::Logger>(name, m_pOutput);
    logger->set_level(SpdlogLevel(m_eLevel));
    return logger;
}

bool CLogRegistry::Configure(const Brel::Log::SLogOptions& options, std::wstring* errorText)
{
    CLogFile file;
    if (!options.file.empty() && !file.Open(options.file, options.maxFileSize, errorText))
        return false;
    m_pOutput->Redirect(std::move(file), options);
    m_eLevel = options.level;
    const platform::CFaultLock guard(m_mutex);
    if (!guard.IsHeld())
        return true;
    for (const auto& [name, logger] : m_loggers)
        logger->set_level(SpdlogLevel(m_eLevel));
    return true;
}

CLogRegistry& CLogRegistry::Instance()
{
    static CNeverDestroyed<CLogRegistry> registry;
    return registry.Get();
}
