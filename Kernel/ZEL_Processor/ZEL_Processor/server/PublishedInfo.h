#pragma once

#include "ServerSettings.h"
#include "ZEL_Processor/ZelServerInfo.h"

/// Writes what a host tells of its server into the server's own folder, with its directory, its plug-ins, those that
/// were left out and the commands of an operator that it takes. False with a report when that cannot be written. Asks
/// the plug-ins for their types; of a server that has ended none is told.
[[nodiscard]] bool PublishServerInfo(const CServerSettings& settings, SZelServerInfo info);
