#include "apps/zel-server/ServerService.h"

#include "apps/common/CommandLine.h"
#include "apps/common/ExitCodes.h"
#include "platform/Process.h"
#include "platform/Service.h"

namespace {

platform::SServiceDefinition Definition(const SServerOptions& options)
{
    SServerOptions started = options;
    started.service = eServiceAction_Run;
    return {options.serviceName, L"ZEL_Processor server (" + options.serviceName + L")",
            L"Serves requests that clients put into " + options.requestDir, ServerArguments(started)};
}

int Conclude(platform::eOsError error, const std::wstring& subject, const wchar_t* success, const wchar_t* failure)
{
    if (platform::Succeeded(error)) {
        platform::WriteConsoleText(platform::eStream_Output, L"zel-server: " + subject + success + L"\n");
        return eExitCode_Done;
    }
    PrintError(L"zel-server", subject + failure + platform::OsErrorText(error));
    return eExitCode_ClientError;
}

int RunAsService(const SServerOptions& options, const std::function<int()>& serve)
{
    int result = eExitCode_ClientError;
    const platform::eOsError error = platform::RunService(options.serviceName, serve, result);
    if (error == platform::eOsError_NotAService)
        PrintError(L"zel-server", L"--service run is for the system, which starts the service in this way");
    else if (!platform::Succeeded(error))
        PrintError(L"zel-server", L"the service cannot run: " + platform::OsErrorText(error));
    return platform::Succeeded(error) ? result : eExitCode_ClientError;
}

} // namespace

int CarryOutServiceAction(const SServerOptions& options, const std::function<int()>& serve)
{
    if (const std::wstring advice = platform::ServiceAdvice(); !advice.empty()) {
        PrintError(L"zel-server", advice);
        return eExitCode_ClientError;
    }
    const std::wstring subject = L"the service '" + options.serviceName + L"' ";
    switch (options.service) {
    case eServiceAction_Install:
        return Conclude(platform::InstallService(Definition(options)), subject,
                        L"was installed and starts with the system; to start it now: sc start NAME",
                        L"cannot be installed: ");
    case eServiceAction_Remove:
        return Conclude(platform::RemoveService(options.serviceName), subject, L"was removed", L"cannot be removed: ");
    case eServiceAction_Run: return RunAsService(options, serve);
    case eServiceAction_None: break;
    }
    return eExitCode_Usage;
}
