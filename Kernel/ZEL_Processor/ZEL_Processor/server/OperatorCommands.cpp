#include "OperatorCommands.h"
#include "RequestQueue.h"
#include "ServerSettings.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/OsError.h"
#include "protocol/CommandFile.h"
#include "reports/SourceNames.h"
#include "reports/StringCodes.h"

#include <algorithm>

bool COperatorCommands::IsOne(eCommandType type)
{
    return std::ranges::find(CommandFile::kOperatorCommands, type) != CommandFile::kOperatorCommands.end();
}

bool COperatorCommands::Takes(const SZelServerOptions& options, eCommandType type)
{
    return options.operatorCommands && (type != CommandFile::kDrainServer || options.drained != nullptr);
}

CString COperatorCommands::CarryOut(const CommandFile::SContent& command, const CString& path)
{
    if (!m_settings.IsOperators(path))
        return TextOf(StringCodes::kOperatorsOnly);
    if (command.type == CommandFile::kMoveRequest)
        return Move(command.name, command.where);
    if (command.type == CommandFile::kDrainServer) {
        Drain();
        return {};
    }
    const platform::eOsError error = command.type == CommandFile::kHoldQueue ? m_hold.Hold() : m_hold.Release();
    if (platform::Succeeded(error))
        return {};
    return TextOf(StringCodes::kServerError) + m_settings.m_paths.InOwnFolder(Protocol::kHeldFile) + L": " +
           platform::OsErrorText(error);
}

void COperatorCommands::Drain()
{
    if (m_requests.IsDraining())
        return;
    // What waits is lost with the next start, unless that takes it over; without an executive it would wait for ever.
    m_requests.Drain(!m_settings.m_options.resume && !m_settings.m_bNoExecutiveThread);
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Info, ZEL_SOURCE_LOCATION,
                     L"The server takes nothing more, and ends when what it has to run has ended");
}

CString COperatorCommands::Move(const CString& name, const CommandFile::SWhere& where)
{
    if (!where.place || (where.place == eRequestPlace_Before && where.other.empty()))
        return TextOf(StringCodes::kMoveToNowhere);
    const SProtocolPaths& paths = m_settings.m_paths;
    switch (m_requests.Move(paths.InQueue(name), *where.place, paths.InQueue(where.other))) {
    case CTurnList::eMoved_NotThere: return FormatText(TextOf(StringCodes::kDoesNotWait), {name});
    case CTurnList::eMoved_NoOther: return FormatText(TextOf(StringCodes::kDoesNotWait), {where.other});
    case CTurnList::eMoved_OtherTurn: return FormatText(TextOf(StringCodes::kOfAnotherTurn), {name, where.other});
    case CTurnList::eMoved_Yes: break;
    }
    return {};
}
