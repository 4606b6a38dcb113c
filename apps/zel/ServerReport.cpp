#include "apps/zel/ServerReport.h"

#include "ZEL_Processor/ZelProtocolNames.h"
#include "ZEL_Processor/ZelRequestWatch.h"
#include "apps/zel/RequestNames.h"
#include "apps/zel/ServerWatch.h"
#include "platform/Installation.h"
#include "platform/Os.h"
#include "platform/ReliableWatch.h"

#include "ToolTexts.h"

#include <algorithm>
#include <functional>
#include <set>
#include <utility>

namespace {

SServerReport::SDirectory LookAtDirectory(const std::wstring& path)
{
    platform::SDiskSpace space;
    return {path, platform::Succeeded(platform::GetDiskSpace(path, space)) ? std::optional(space) : std::nullopt};
}

/// Goes through a directory; one that cannot be read is a hindrance. Of one that is missing others tell. Who only hands
/// requests over need not see those of others.
void Visit(SServerReport& report, const std::wstring& directory,
           const std::function<void(const platform::SDirectoryEntry&)>& visitor)
{
    const platform::eOsError error =
        platform::Files().Visit(directory, [&visitor](const platform::SDirectoryEntry& entry) {
            visitor(entry);
            return true;
        });
    const bool isDropBox = error == platform::eOsError_AccessDenied && directory == report.requestDir.path;
    if (!platform::Succeeded(error) && !platform::IsAbsent(error) && !isDropBox)
        report.hindrances.push_back(
            ShownText(ToolTexts::IDS_DIR_UNREADABLE, {directory, platform::OsErrorText(error)}));
}

void CountUntaken(SServerReport& report)
{
    Visit(report, report.requestDir.path, [&report](const platform::SDirectoryEntry& entry) {
        if (!entry.isDirectory && IsRequestName(entry.name))
            ++report.untaken;
    });
}

/// What waits has no status; only the others are asked for theirs.
void LookAtQueue(CToolSession& session, SServerReport& report)
{
    std::set<std::wstring> withStatus;
    Visit(report, session.Options().outputDir, [&](const platform::SDirectoryEntry& entry) {
        if (entry.name.starts_with(ZelProtocol::kDsEventsPrefix))
            ++report.clients;
        if (entry.name.ends_with(ZelProtocol::kStatusExtension))
            withStatus.insert(entry.name);
    });
    std::vector<std::wstring> others;
    Visit(report, session.QueuePath({}), [&](const platform::SDirectoryEntry& entry) {
        if (withStatus.contains(entry.name + ZelProtocol::kStatusExtension))
            others.push_back(entry.name);
        else if (!entry.isDirectory)
            ++report.waiting;
    });
    for (const std::wstring& name : others) {
        SRequestState state = ReadState(session.Client(), name);
        if (state.status == eRequestStatus_Paused)
            ++report.paused;
        else if (state.status == eRequestStatus_Waiting)
            ++report.waiting;
        else if (!CZelRequestWatch::IsFinal(state.status)) {
            if (state.created)
                state.age = std::max<std::int64_t>(platform::Clock().UtcSeconds() - *state.created, 0);
            report.running.push_back(std::move(state));
        }
    }
}

/// zel-server shows life every ten seconds. Another machine's clock may differ.
std::optional<std::int64_t> SilenceOf(const SServerReport& report)
{
    constexpr std::int64_t longest = 30;
    if (report.server.seen == 0 || platform::IsChangedFromOutside(report.outputDir.path))
        return std::nullopt;
    const std::int64_t silence = platform::Clock().UtcSeconds() - report.server.seen;
    return silence > longest ? std::optional(silence) : std::nullopt;
}

void FindHindrances(const CToolSession& session, SServerReport& report)
{
    const std::wstring& served = report.server.requestDir;
    if (report.server.presence == eServerPresence_Serves && !served.empty() &&
        !platform::IsSameFile(served, session.Options().requestDir))
        report.hindrances.push_back(
            WQ_ModuleText(ToolTexts::IDS_SERVER_OTHER_REQUEST_DIR, {served, session.Options().requestDir}));
    if (const std::optional<std::int64_t> silence = SilenceOf(report))
        report.hindrances.push_back(WQ_ModuleText(ToolTexts::IDS_SERVER_SILENT, {AgeText(*silence)}));
    if (report.server.presence == eServerPresence_None && !report.server.hasStopped && report.server.ended != 0)
        report.hindrances.push_back(WQ_ModuleText(ToolTexts::IDS_SERVER_DIED, {LocalTimeText(report.server.ended)}));
    if (!platform::DirectoryExists(report.requestDir.path))
        report.hindrances.push_back(WQ_ModuleText(ToolTexts::IDS_REQUEST_DIR_MISSING, {report.requestDir.path}));
    if (!platform::DirectoryExists(report.outputDir.path))
        report.hindrances.push_back(WQ_ModuleText(ToolTexts::IDS_OUTPUT_DIR_MISSING, {report.outputDir.path}));
    for (const SServerReport::SDirectory* directory : {&report.requestDir, &report.outputDir}) {
        if (directory->space && directory->space->available == 0)
            report.hindrances.push_back(WQ_ModuleText(ToolTexts::IDS_SERVER_DISK_FULL, {directory->path}));
    }
}

} // namespace

SServerReport MakeServerReport(CToolSession& session)
{
    SServerReport report;
    report.server = session.Client().GetServerInfo();
    report.requestDir = LookAtDirectory(session.Options().requestDir);
    report.outputDir = LookAtDirectory(session.Options().outputDir);
    // In the order in which a request travels, so that none is missed that moves meanwhile.
    CountUntaken(report);
    LookAtQueue(session, report);
    FindHindrances(session, report);
    return report;
}
