#include "apps/zel/DoctorCommand.h"

#include "apps/zel/Checkup.h"

#include <CLI/CLI.hpp>
#include <algorithm>

void CDoctorCommand::Define(CLI::App&) {}

int CDoctorCommand::Run(CToolSession& session)
{
    const std::vector<SFinding> findings = CheckUp(session);
    for (const SFinding& finding : findings) {
        const bool isShown = !session.Options().quiet || finding.level == eFindingLevel_Fail;
        if (session.Options().json)
            static_cast<void>(platform::WriteConsoleText(platform::eStream_Output, ToJson(finding) + L"\n"));
        else if (isShown)
            static_cast<void>(platform::WriteConsoleText(platform::eStream_Output, ToText(finding)));
    }
    const bool hasFailed = std::ranges::count(findings, eFindingLevel_Fail, &SFinding::level) != 0;
    return hasFailed ? eExitCode_ClientError : eExitCode_Done;
}
