#include "Kernel/ZEL_Processor/ZEL_Processor/processor/ZelTaskHost.h"
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
/// Of a program that cannot be run, as shells have it.
constexpr int kNotStarted = 127;

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

/// Runs a program in this process's containment: "--run INPUT FOLDER PROGRAM [ARGUMENT]...", with the program's
/// standard input and its working directory. Standard input of this process is what it lives by.
int RunProgram(const std::vector<std::wstring>& arguments)
{
    platform::SProcessOptions options;
    options.inputFile = arguments[1];
    options.folder = arguments[2];
    platform::CProcess program;
    const std::wstring& path = arguments[3];
    const platform::eOsError error = program.Start(path, {arguments.begin() + 4, arguments.end()}, options);
    if (!platform::Succeeded(error)) {
        PrintError(kProgram, path + L": " + platform::OsErrorText(error));
        return kNotStarted;
    }
    int code = 0;
    while (!program.Wait(1h, code)) {
        // The containment ends it, and this process, when nobody wants it any more.
    }
    return code;
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
        if (platform::Succeeded(error) && arguments.size() >= 4 && arguments[0] == L"--run")
            return RunProgram(arguments);
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
