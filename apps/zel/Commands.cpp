#include "apps/zel/Commands.h"

#include "apps/zel/CancelCommand.h"
#include "apps/zel/DiscardCommand.h"
#include "apps/zel/DoctorCommand.h"
#include "apps/zel/DrainCommand.h"
#include "apps/zel/FailedCommand.h"
#include "apps/zel/ForgetCommand.h"
#include "apps/zel/HoldCommand.h"
#include "apps/zel/ListCommand.h"
#include "apps/zel/ListenCommand.h"
#include "apps/zel/MoveCommand.h"
#include "apps/zel/NewPluginCommand.h"
#include "apps/zel/PauseCommand.h"
#include "apps/zel/PropertiesCommand.h"
#include "apps/zel/ReceiveCommand.h"
#include "apps/zel/ReleaseCommand.h"
#include "apps/zel/ResumeCommand.h"
#include "apps/zel/RetryCommand.h"
#include "apps/zel/RunCommand.h"
#include "apps/zel/RunTaskCommand.h"
#include "apps/zel/SendCommand.h"
#include "apps/zel/ServerCommand.h"
#include "apps/zel/ShowCommand.h"
#include "apps/zel/StatsCommand.h"
#include "apps/zel/StatusCommand.h"
#include "apps/zel/WaitCommand.h"
#include "apps/zel/WatchCommand.h"
#include "platform/Path.h"

#include <algorithm>

std::vector<std::unique_ptr<IAnyCommand>> MakeCommands()
{
    std::vector<std::unique_ptr<IAnyCommand>> commands;
    commands.push_back(std::make_unique<CSendCommand>());
    commands.push_back(std::make_unique<CRunCommand>());
    commands.push_back(std::make_unique<CStatusCommand>());
    commands.push_back(std::make_unique<CWaitCommand>());
    commands.push_back(std::make_unique<CReceiveCommand>());
    commands.push_back(std::make_unique<CShowCommand>());
    commands.push_back(std::make_unique<CForgetCommand>());
    commands.push_back(std::make_unique<CListCommand>());
    commands.push_back(std::make_unique<CWatchCommand>());
    commands.push_back(std::make_unique<CCancelCommand>());
    commands.push_back(std::make_unique<CPauseCommand>());
    commands.push_back(std::make_unique<CResumeCommand>());
    commands.push_back(std::make_unique<CMoveCommand>());
    commands.push_back(std::make_unique<CHoldCommand>());
    commands.push_back(std::make_unique<CReleaseCommand>());
    commands.push_back(std::make_unique<CDrainCommand>());
    commands.push_back(std::make_unique<CFailedCommand>());
    commands.push_back(std::make_unique<CRetryCommand>());
    commands.push_back(std::make_unique<CDiscardCommand>());
    commands.push_back(std::make_unique<CListenCommand>());
    commands.push_back(std::make_unique<CPropertiesCommand>());
    commands.push_back(std::make_unique<CNewPluginCommand>());
    commands.push_back(std::make_unique<CRunTaskCommand>());
    commands.push_back(std::make_unique<CServerCommand>());
    commands.push_back(std::make_unique<CDoctorCommand>());
    commands.push_back(std::make_unique<CStatsCommand>());
    return commands;
}

int ICommand::Start(const CToolOptionsParser& common)
{
    const std::optional<SToolOptions> options = common.Take(NeedsNames());
    if (!options || !Check())
        return eExitCode_Usage;
    CToolSession session(*options);
    return !NeedsDirectories() || session.CheckDirectories() ? Run(session) : eExitCode_ClientError;
}

std::vector<std::wstring> ToRequestNames(const std::vector<std::string>& given)
{
    std::vector<std::wstring> names = ToWide(given);
    std::ranges::transform(names, names.begin(), [](const std::wstring& name) { return platform::FileNameOf(name); });
    return names;
}

bool CheckRequestNames(const std::vector<std::wstring>& names)
{
    for (const std::wstring& name : names) {
        if (name.empty() || name == L"." || name == L"..") {
            PrintUsageError(L"zel", ShownText(ToolTexts::IDS_NO_REQUEST_NAME, {name}));
            return false;
        }
    }
    return true;
}
