#include "apps/zel-server/ServerMessages.h"

#include "apps/common/CommandLine.h"
#include "framework/LogOptions.h"

bool CServerMessages::Open(const SServerOptions& options)
{
    Brel::Log::SLogOptions log;
    log.level = options.logLevel;
    log.console = options.logFile.empty();
    log.file = options.logFile;
    std::wstring error;
    if (!Brel::Log::Configure(log, &error)) {
        Error(error);
        return false;
    }
    m_bHasLogFile = !options.logFile.empty();
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
    PrintError(L"zel-server", text);
    // Without a file the log goes to standard error too, where the line has just been written.
    if (m_bHasLogFile)
        Brel::Log::Write(*Brel::Log::Get("zel-server"), level, ZEL_SOURCE_LOCATION, text);
}
