#include "OperatorCommands.h"
#include "RequestQueue.h"
#include "ServerSettings.h"
#include "platform/OsError.h"
#include "protocol/CommandFile.h"
#include "reports/StringCodes.h"

#include <algorithm>

bool COperatorCommands::IsOne(eCommandType type)
{
    return std::ranges::find(CommandFile::kOperatorCommands, type) != CommandFile::kOperatorCommands.end();
}

CString COperatorCommands::CarryOut(const CommandFile::SContent& command, const CString& path)
{
    if (!CServerSettings::IsOperators(path))
        return TextOf(StringCodes::kOperatorsOnly);
    if (command.type == eCommandType_MoveRequest)
        return Move(command.name, command.where);
    const platform::eOsError error = command.type == eCommandType_HoldQueue ? m_hold.Hold() : m_hold.Release();
    if (platform::Succeeded(error))
        return {};
    return TextOf(StringCodes::kServerError) + m_settings.m_paths.InOwnFolder(Protocol::kHeldFile) + L": " +
           platform::OsErrorText(error);
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
