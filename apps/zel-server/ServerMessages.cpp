#include "apps/zel-server/ServerMessages.h"

#include "apps/common/CommandLine.h"
#include "framework/LogOptions.h"

bool CServerMessages::Open(const SServerOptions& options)
{
    Brel::Log::SLogOptions log;
    log.level = options.logLevel;
    log.console = options.logFile.empty();
    log.file = options.logFile;
    log.maxFileSize = std::uint64_t{options.logSizeMiB} << 20;
    log.format = options.logJson ? Brel::Log::eLogFormat_Json : Brel::Log::eLogFormat_Text;
    std::wstring error;
    if (!Brel::Log::Configure(log, &error)) {
        Error(error);
        return false;
    }
    m_bHasLogFile = !options.logFile.empty();
    m_bJson = options.logJson;
    return true;
}

void CServerMessages::Error(const std::wstring& text) const
{
    Tell(Brel::Log::eLogLevel_Error, text);
}

void CServerMessages::Note(const std::wstring& text) const
{
    Tell(Brel::Log::eLogLevel_Info, text);
}

void CServerMessages::Tell(Brel::Log::eLogLevel level, const std::wstring& text) const
{
    // Who reads objects from standard error must not meet anything else there; otherwise a log there would repeat what
    // has just been written.
    const bool isObject = m_bJson && !m_bHasLogFile;
    if (!isObject)
        PrintError(L"zel-server", text);
    if (isObject)
        Brel::Log::WriteAlways(*Brel::Log::Get("zel-server"), level, ZEL_SOURCE_LOCATION, text);
    else if (m_bHasLogFile)
        Brel::Log::Write(*Brel::Log::Get("zel-server"), level, ZEL_SOURCE_LOCATION, text);
}
