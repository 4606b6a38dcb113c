#include "apps/zel/StatsCommand.h"

#include "ZEL_Processor/ZelProtocolNames.h"
#include "apps/zel/StatsReport.h"
#include "platform/Os.h"
#include "platform/Path.h"

#include <CLI/CLI.hpp>
#include <chrono>

using namespace std::chrono_literals;

namespace {

/// Far more than a server writes.
constexpr std::size_t kMostFigures = 1 << 20;
/// The file is replaced, on Windows for an instant without one that can be opened.
constexpr int kReadTries = 20;
constexpr auto kReadPause = 10ms;

} // namespace

void CStatsCommand::Define(CLI::App&) {}

int CStatsCommand::Run(CToolSession& session)
{
    const std::wstring folder = platform::JoinPath(session.Options().outputDir, ZelProtocol::kServerDirectory);
    const std::wstring path = platform::JoinPath(folder, ZelProtocol::kFiguresFile);
    std::string bytes;
    platform::eOsError error = platform::eOsError_SharingViolation;
    for (int tries = 0; error == platform::eOsError_SharingViolation && tries < kReadTries; ++tries) {
        if (tries != 0)
            platform::Clock().SleepFor(kReadPause);
        error = platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, bytes, kMostFigures);
    }
    const auto report = platform::Succeeded(error) ? SStatsReport::FromJson(bytes) : std::nullopt;
    if (!report) {
        const bool isOther = platform::Succeeded(error) || platform::IsAbsent(error);
        PrintError(L"zel", isOther ? ShownText(ToolTexts::IDS_NO_STATS, {session.Options().outputDir})
                                   : ShownText(ToolTexts::IDS_DIR_UNREADABLE, {path, platform::OsErrorText(error)}));
        return eExitCode_ClientError;
    }
    if (session.Options().json)
        static_cast<void>(platform::WriteConsoleText(platform::eStream_Output, report->json + L"\n"));
    else if (!session.Options().quiet)
        static_cast<void>(platform::WriteConsoleText(
            platform::eStream_Output,
            report->ToText(platform::Clock().UtcSeconds(),
                           session.Client().GetServerInfo().presence == eServerPresence_None)));
    return eExitCode_Done;
}
