#include "apps/zel-server/ServerService.h"

#include "apps/common/CommandLine.h"
#include "apps/common/ExitCodes.h"
#include "platform/Process.h"
#include "platform/Service.h"

#include "ServerTexts.h"

namespace {

platform::SServiceDefinition Definition(const SServerOptions& options)
{
    return {options.serviceName, L"ZEL_Processor server (" + options.serviceName + L")",
            WQ_ModuleText(ServerTexts::IDS_SERVICE_DESCRIPTION, {options.requestDir}), ServiceArguments(options)};
}

int Conclude(platform::eOsError error, const std::wstring& name, const STextCode& success, const STextCode& failure)
{
    if (platform::Succeeded(error)) {
        platform::WriteConsoleText(platform::eStream_Output, L"zel-server: " + WQ_ModuleText(success, {name}) + L"\n");
        return eExitCode_Done;
    }
    PrintError(L"zel-server", WQ_ModuleText(failure, {name, platform::OsErrorText(error)}));
    return eExitCode_ClientError;
}

int RunAsService(const SServerOptions& options, const std::function<int()>& serve)
{
    int result = eExitCode_ClientError;
    const platform::eOsError error = platform::RunService(options.serviceName, serve, result);
    if (error == platform::eOsError_NotAService)
        PrintError(L"zel-server", WQ_ModuleText(ServerTexts::IDS_SERVICE_RUN_IS_FOR_THE_SYSTEM));
    else if (!platform::Succeeded(error))
        PrintError(L"zel-server", WQ_ModuleText(ServerTexts::IDS_SERVICE_CANNOT_RUN, {platform::OsErrorText(error)}));
    return platform::Succeeded(error) ? result : eExitCode_ClientError;
}

} // namespace

int CarryOutServiceAction(const SServerOptions& options, const std::function<int()>& serve)
{
    if (const std::wstring advice = platform::ServiceAdvice(); !advice.empty()) {
        PrintError(L"zel-server", advice);
        return eExitCode_ClientError;
    }
    switch (options.service) {
    case eServiceAction_Install:
        return Conclude(platform::InstallService(Definition(options)), options.serviceName,
                        ServerTexts::IDS_SERVICE_INSTALLED, ServerTexts::IDS_SERVICE_NOT_INSTALLED);
    case eServiceAction_Remove:
        return Conclude(platform::RemoveService(options.serviceName), options.serviceName,
                        ServerTexts::IDS_SERVICE_REMOVED, ServerTexts::IDS_SERVICE_NOT_REMOVED);
    case eServiceAction_Run: return RunAsService(options, serve);
    case eServiceAction_None: break;
    }
    return eExitCode_Usage;
}
