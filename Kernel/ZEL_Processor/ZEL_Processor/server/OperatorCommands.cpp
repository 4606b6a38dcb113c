#include "OperatorCommands.h"
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
    const platform::eOsError error = command.type == eCommandType_HoldQueue ? m_hold.Hold() : m_hold.Release();
    if (platform::Succeeded(error))
        return {};
    return TextOf(StringCodes::kServerError) + m_settings.m_paths.InOwnFolder(Protocol::kHeldFile) + L": " +
           platform::OsErrorText(error);
}
