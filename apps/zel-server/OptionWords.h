#pragma once

#include "apps/zel-server/ServerOptions.h"

#include <map>
#include <string>

/// The words that the values of options have, for whoever reads and for whoever writes them.

[[nodiscard]] inline const std::map<std::string, Brel::Log::eLogLevel>& LogLevels()
{
    static const std::map<std::string, Brel::Log::eLogLevel> levels = {
        {"trace", Brel::Log::eLogLevel_Trace}, {"debug", Brel::Log::eLogLevel_Debug},
        {"info", Brel::Log::eLogLevel_Info},   {"warning", Brel::Log::eLogLevel_Warning},
        {"error", Brel::Log::eLogLevel_Error}, {"critical", Brel::Log::eLogLevel_Critical},
    };
    return levels;
}

[[nodiscard]] inline const std::map<std::string, eServiceAction>& ServiceActions()
{
    static const std::map<std::string, eServiceAction> actions = {
        {"install", eServiceAction_Install}, {"remove", eServiceAction_Remove}, {"run", eServiceAction_Run}};
    return actions;
}

[[nodiscard]] inline const std::map<std::string, eInterrupted>& InterruptedWords()
{
    static const std::map<std::string, eInterrupted> words = {{"rerun", eInterrupted_Rerun},
                                                              {"fail", eInterrupted_Fail}};
    return words;
}
