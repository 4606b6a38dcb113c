#include "apps/zel-server/ServerMessages.h"

#include "apps/common/CommandLine.h"
#include "platform/Process.h"

#include "ServerTexts.h"

bool CServerMessages::Open(const SServerOptions& options)
{
    m_bJournal = !options.strict && platform::IsJournal(platform::eStream_Error);
    Brel::Log::SLogOptions log;
    log.console = options.logFile.empty();
    log.file = options.logFile;
    log.format = options.logJson ? Brel::Log::eLogFormat_Json : Brel::Log::eLogFormat_Text;
    log.journal = m_bJournal;
    if (!Configure(log, options))
        return false;
    m_bHasLogFile = !options.logFile.empty();
    m_bJson = options.logJson;
    return true;
}

bool CServerMessages::Change(const SServerOptions& options)
{
    return Configure(m_log, options);
}

bool CServerMessages::Configure(Brel::Log::SLogOptions log, const SServerOptions& options)
{
    log.level = options.logLevel;
    log.places = options.strict || options.logLevel <= Brel::Log::eLogLevel_Debug;
    log.maxFileSize = std::uint64_t{options.logSizeMiB} << 20;
    std::wstring error;
    if (!Brel::Log::Configure(log, &error)) {
        Error(error);
        return false;
    }
    m_log = log;
    m_bPlaces = log.places;
    return true;
}

void CServerMessages::Reopen() const
{
    std::wstring error;
    if (!m_bHasLogFile)
        Note(WQ_ModuleText(ServerTexts::IDS_NO_LOG_FILE));
    else if (!Brel::Log::Configure(m_log, &error))
        Error(error);
    else
        Note(WQ_ModuleText(ServerTexts::IDS_LOG_REOPENED, {m_log.file}));
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
        PrintError((m_bJournal ? Brel::Log::JournalPriority(level) : std::wstring()) + L"zel-server", text);
    if (isObject)
        Brel::Log::WriteAlways(*Brel::Log::Get("zel-server"), level, ZEL_SOURCE_LOCATION, text);
    else if (m_bHasLogFile)
        Brel::Log::Write(*Brel::Log::Get("zel-server"), level, ZEL_SOURCE_LOCATION, text);
}
