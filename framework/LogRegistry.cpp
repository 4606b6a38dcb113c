#include "framework/LogRegistry.h"

#include "framework/LogOutput.h"
#include "framework/NeverDestroyed.h"
#include "platform/Path.h"

#include <spdlog/logger.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <type_traits>

namespace {

spdlog::level::level_enum SpdlogLevel(Brel::Log::eLogLevel level)
{
    return static_cast<spdlog::level::level_enum>(level);
}

/// A path for the standard library, which keeps bytes on one system and wide text on the other.
std::filesystem::path StandardPath(const std::wstring& path)
{
    if constexpr (std::is_same_v<std::filesystem::path::value_type, wchar_t>)
        return std::filesystem::path(path);
    else
        return std::filesystem::path(platform::NarrowPath(path));
}

bool OpenLogFile(const std::wstring& path, std::ofstream& file, std::wstring* errorText)
{
    // Not through the OS layer: that one replaces a file and keeps others out, while a log is appended to and read
    // meanwhile.
    errno = 0;
    file.open(StandardPath(path), std::ios::app | std::ios::binary);
    if (file.is_open())
        return true;
    const int error = errno;
    if (errorText != nullptr) {
        const std::string reason = std::generic_category().message(error);
        *errorText = L"The log file '" + path + L"' cannot be opened: " + std::wstring(reason.begin(), reason.end());
    }
    return false;
}

} // namespace

CLogRegistry::CLogRegistry() : m_pOutput(std::make_shared<CLogOutput>()) {}
CLogRegistry::~CLogRegistry() = default;

std::shared_ptr<Brel::Log::Logger> CLogRegistry::Get(const std::string& name)
{
    const std::lock_guard guard(m_mutex);
    std::shared_ptr<Brel::Log::Logger>& logger = m_loggers[name];
    if (logger == nullptr) {
        logger = std::make_shared<Brel::Log::Logger>(name, m_pOutput);
        logger->set_level(SpdlogLevel(m_eLevel));
    }
    return logger;
}

bool CLogRegistry::Configure(const Brel::Log::SLogOptions& options, std::wstring* errorText)
{
    std::ofstream file;
    if (!options.file.empty() && !OpenLogFile(options.file, file, errorText))
        return false;
    m_pOutput->Redirect(std::move(file), options.console, options.format);
    const std::lock_guard guard(m_mutex);
    m_eLevel = options.level;
    for (const auto& [name, logger] : m_loggers)
        logger->set_level(SpdlogLevel(m_eLevel));
    return true;
}

CLogRegistry& CLogRegistry::Instance()
{
    static CNeverDestroyed<CLogRegistry> registry;
    return registry.Get();
}
