#include "PublishedInfo.h"
#include "OperatorCommands.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "processor/ZelProcessorFactories.h"
#include "protocol/CommandFile.h"
#include "protocol/ServerInfoFile.h"
#include "reports/SourceNames.h"

namespace {

void AddPlugins(SZelServerInfo& info)
{
    CZelProcessorFactories factories;
    static_cast<void>(factories.LoadFactories());
    info.plugins = factories.Describe();
    const std::vector<std::wstring> leftOut = CZelProcessorFactories::LeftOut();
    info.leftOut.insert(info.leftOut.end(), leftOut.begin(), leftOut.end());
}

} // namespace

bool PublishServerInfo(const CServerSettings& settings, SZelServerInfo info)
{
    info.requestDir = settings.m_paths.m_strRequestDir;
    if (info.ended == 0)
        AddPlugins(info);
    for (const eCommandType type : CommandFile::kOperatorCommands) {
        if (COperatorCommands::Takes(settings.m_options, type))
            info.commands.emplace_back(CommandFile::WordOf(type));
    }
    const CString path = settings.m_paths.InOwnFolder(Protocol::kServerInfoFile);
    // Not the way there: an output directory that is gone is not for this to make.
    platform::eOsError error = platform::Files().MakeDirectory(settings.m_paths.InOwnFolder({}));
    if (platform::Succeeded(error) || error == platform::eOsError_AlreadyExists)
        error = ServerInfoFile::Write(path, info);
    if (!platform::HasMoved(error))
        Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                         L"Clients cannot be told what this server is: " + path + L": " + platform::OsErrorText(error));
    return platform::HasMoved(error);
}
