#include "apps/zel/ServerReport.h"

#include "ZEL_Processor/ZelProtocolNames.h"
#include "ZEL_Processor/ZelRequestWatch.h"
#include "apps/zel/RequestNames.h"
#include "apps/zel/ServerWatch.h"
#include "platform/Installation.h"
#include "platform/Os.h"

#include "ToolTexts.h"

#include <algorithm>
#include <set>
#include <utility>

namespace {

SServerReport::SDirectory LookAtDirectory(const std::wstring& path)
{
    platform::SDiskSpace space;
    return {path, platform::Succeeded(platform::GetDiskSpace(path, space)) ? std::optional(space) : std::nullopt};
}

std::size_t CountRequests(const std::wstring& directory)
{
    std::size_t count = 0;
    static_cast<void>(platform::Files().Visit(directory, [&count](const platform::SDirectoryEntry& entry) {
        if (!entry.isDirectory && IsRequestName(entry.name))
            ++count;
        return true;
    }));
    return count;
}

/// What waits has no status; only the others are asked for theirs.
void LookAtQueue(CToolSession& session, SServerReport& report)
{
    std::set<std::wstring> withStatus;
    static_cast<void>(platform::Files().Visit(session.Options().outputDir, [&](const platform::SDirectoryEntry& entry) {
        if (entry.name.starts_with(ZelProtocol::kDsEventsPrefix))
            ++report.clients;
        if (entry.name.ends_with(ZelProtocol::kStatusExtension))
            withStatus.insert(entry.name);
        return true;
    }));
    std::vector<std::wstring> others;
    static_cast<void>(platform::Files().Visit(session.QueuePath({}), [&](const platform::SDirectoryEntry& entry) {
        if (withStatus.contains(entry.name + ZelProtocol::kStatusExtension))
            others.push_back(entry.name);
        else if (!entry.isDirectory)
            ++report.waiting;
        return true;
    }));
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

void FindHindrances(const CToolSession& session, SServerReport& report)
{
    const std::wstring& served = report.server.requestDir;
    if (report.server.presence == eServerPresence_Serves && !served.empty() &&
        !platform::IsSameFile(served, session.Options().requestDir))
        report.hindrances.push_back(
            WQ_ModuleText(ToolTexts::IDS_SERVER_OTHER_REQUEST_DIR, {served, session.Options().requestDir}));
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
    report.untaken = CountRequests(session.Options().requestDir);
    LookAtQueue(session, report);
    FindHindrances(session, report);
    return report;
}
