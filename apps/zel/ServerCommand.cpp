#include "apps/zel/ServerCommand.h"

#include "apps/zel/ServerReport.h"

#include <CLI/CLI.hpp>

void CServerCommand::Define(CLI::App&) {}

int CServerCommand::Run(CToolSession& session)
{
    const SServerReport report = MakeServerReport(session);
    if (session.Options().json)
        static_cast<void>(platform::WriteConsoleText(platform::eStream_Output, ToJson(report) + L"\n"));
    else if (!session.Options().quiet)
        static_cast<void>(platform::WriteConsoleText(platform::eStream_Output, ToText(report)));
    return report.IsHealthy() ? eExitCode_Done : eExitCode_ClientError;
}
