#include "ZEL_Processor/ZelTaskHost.h"
#include "apps/common/CommandLine.h"
#include "apps/common/ExitCodes.h"
#include "apps/common/ExitGuard.h"
#include "apps/common/LibraryInstance.h"
#include "com/ComThread.h"
#include "platform/Containment.h"
#include "platform/Process.h"
#include "platform/StrayFaults.h"
#include "platform/Text.h"

#include "CommonTexts.h"
#include "TaskHostTexts.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <exception>

using namespace std::chrono_literals;

namespace {

constexpr const wchar_t* kProgram = L"zel-task-host";
constexpr std::chrono::milliseconds kReportTime = 30s;

/// Of somebody who starts it by hand.
int Explain(const std::vector<std::wstring>& arguments)
{
    CLI::App app(HelpText(TaskHostTexts::IDS_HELP_DESCRIPTION), "zel-task-host");
    DefineCommonParts(app);
    app.footer(HelpText(TaskHostTexts::IDS_HELP_FOOTER));
    if (const std::optional<int> code = ParseCommandLine(app, arguments))
        return *code;
    PrintUsageError(kProgram, WQ_ModuleText(TaskHostTexts::IDS_STARTED_BY_HAND));
    return eExitCode_Usage;
}

int Serve()
{
    platform::CParentChannel channel;
    if (!platform::Succeeded(channel.Error())) {
        PrintError(kProgram, platform::OsErrorText(channel.Error()));
        return eExitCode_ClientError;
    }
    const CComThread com;
    if (!com.IsReady()) {
        PrintError(kProgram, WQ_ModuleText(CommonTexts::IDS_COM_NOT_READY));
        return eExitCode_ClientError;
    }
    const CLibraryInstance library;
    if (!library.IsReady()) {
        PrintError(kProgram, WQ_ModuleText(CommonTexts::IDS_LIBRARY_NOT_STARTED));
        return eExitCode_ClientError;
    }
    CZelTaskHost host(channel);
    const auto tell = [&host](const platform::SFaultRecord& fault) { host.TellFault(fault); };
    const platform::CStrayFaults strayFaults(tell, kReportTime);
    if (!host.Prepare())
        return eExitCode_ClientError;
    const CExitGuard exitGuard(tell, kReportTime, eExitCode_ClientError);
    host.Serve();
    return eExitCode_Done;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        // First, for a process that has threads cannot be divided.
        const platform::eOsError error = platform::EnterContainment();
        const std::vector<std::wstring> arguments = platform::ProgramArguments(argc, argv);
        if (error == platform::eOsError_NotSupported || !arguments.empty())
            return Explain(arguments);
        if (platform::Succeeded(error))
            return Serve();
        PrintError(kProgram, platform::OsErrorText(error));
    } catch (const std::exception& exception) {
        PrintError(kProgram, platform::FromUtf8(exception.what()));
    }
    return eExitCode_ClientError;
}
