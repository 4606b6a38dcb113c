#include "apps/zel/ServerReport.h"

#include "apps/zel/ServerWatch.h"
#include "platform/Os.h"
#include "platform/Text.h"

#include "ToolTexts.h"

#include <algorithm>
#include <ctime>
#include <fmt/chrono.h>
#include <iterator>
#include <nlohmann/json.hpp>

namespace {

using Json = nlohmann::ordered_json;

/// Null for one that is not known, or that the system's calendar does not have.
Json TimeToJson(std::int64_t seconds)
{
    if (seconds == 0)
        return {};
    try {
        return fmt::format("{:%FT%TZ}", fmt::gmtime(static_cast<std::time_t>(seconds)));
    } catch (const fmt::format_error&) {
        return {};
    }
}

Json ToJsonTexts(const std::vector<std::wstring>& texts)
{
    Json array = Json::array();
    for (const std::wstring& text : texts)
        array.push_back(platform::ToUtf8(text));
    return array;
}

Json ToJsonDirectory(const SServerReport::SDirectory& directory)
{
    Json object;
    object["path"] = platform::ToUtf8(directory.path);
    object["free"] = directory.space ? Json(directory.space->available) : Json();
    object["total"] = directory.space ? Json(directory.space->total) : Json();
    return object;
}

Json ToJsonPlugins(const std::vector<SZelServerPlugin>& plugins)
{
    Json array = Json::array();
    for (const SZelServerPlugin& plugin : plugins) {
        Json object;
        object["name"] = platform::ToUtf8(plugin.name);
        object["module"] = platform::ToUtf8(plugin.module);
        object["types"] = ToJsonTexts(plugin.taskTypes);
        array.push_back(std::move(object));
    }
    return array;
}

std::vector<std::wstring> WhatIsWrong(const SServerReport& report)
{
    std::vector<std::wstring> wrong = report.hindrances;
    for (const std::wstring& reason : report.server.leftOut)
        wrong.push_back(WQ_ModuleText(ToolTexts::IDS_SERVER_LEFT_OUT, {reason}));
    return wrong;
}

const char* PresenceWord(eZelServerPresence presence)
{
    switch (presence) {
    case eServerPresence_None: return "none";
    case eServerPresence_Serves: return "serves";
    case eServerPresence_Unknown: break;
    }
    return "unknown";
}

std::wstring DirectoryLine(const STextCode& code, const SServerReport::SDirectory& directory)
{
    std::wstring text = WQ_ModuleText(code, {directory.path});
    if (directory.space)
        text += L" (" +
                WQ_ModuleText(ToolTexts::IDS_SERVER_FREE,
                              {SizeText(directory.space->available), SizeText(directory.space->total)}) +
                L")";
    return text;
}

std::wstring Joined(const std::vector<std::wstring>& texts, const wchar_t* separator)
{
    std::wstring joined;
    for (const std::wstring& text : texts)
        joined += (joined.empty() ? L"" : separator) + text;
    return joined;
}

} // namespace

std::wstring SizeText(std::uint64_t bytes)
{
    constexpr const char* kUnits[] = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    double size = static_cast<double>(bytes) / 1024;
    std::size_t unit = 0;
    for (; size >= 1024 && unit + 1 < std::size(kUnits); ++unit)
        size /= 1024;
    return platform::FromUtf8(fmt::format("{:.1f} {}", size, kUnits[unit]));
}

std::wstring HeadLine(const SServerReport& report)
{
    const SZelServerInfo& server = report.server;
    const std::wstring& directory = report.outputDir.path;
    if (server.presence == eServerPresence_Unknown)
        return WQ_ModuleText(ToolTexts::IDS_SERVER_NOT_KNOWN, {directory});
    if (server.presence == eServerPresence_None)
        return server.ended != 0
                   ? WQ_ModuleText(ToolTexts::IDS_NO_SERVER_SINCE, {directory, LocalTimeText(server.ended)})
                   : WQ_ModuleText(ToolTexts::IDS_NO_SERVER, {directory});
    if (server.started == 0)
        return WQ_ModuleText(ToolTexts::IDS_SERVER_PROCESS, {std::to_wstring(server.process)});
    const std::int64_t up = std::max<std::int64_t>(platform::Clock().UtcSeconds() - server.started, 0);
    return WQ_ModuleText(ToolTexts::IDS_SERVER_ALIVE,
                         {std::to_wstring(server.process), server.version, LocalTimeText(server.started), AgeText(up)});
}

std::wstring ToJson(const SServerReport& report)
{
    const SZelServerInfo& server = report.server;
    Json object;
    object["alive"] = server.presence == eServerPresence_Serves;
    object["healthy"] = report.IsHealthy();
    object["presence"] = PresenceWord(server.presence);
    object["process"] = server.process != 0 ? Json(server.process) : Json();
    object["version"] = platform::ToUtf8(server.version);
    object["started"] = TimeToJson(server.started);
    object["ended"] = TimeToJson(server.ended);
    object["stopped"] = server.hasStopped;
    object["requestDir"] = ToJsonDirectory(report.requestDir);
    object["outputDir"] = ToJsonDirectory(report.outputDir);
    object["options"] = ToJsonTexts(server.options);
    object["plugins"] = ToJsonPlugins(server.plugins);
    object["leftOut"] = ToJsonTexts(server.leftOut);
    object["untaken"] = report.untaken;
    object["waiting"] = report.waiting;
    object["paused"] = report.paused;
    object["running"] = Json::array();
    for (const SRequestState& state : report.running)
        object["running"].push_back(Json::parse(platform::ToUtf8(ToJson(state))));
    object["clients"] = report.clients;
    object["commands"] = ToJsonTexts(server.commands);
    object["held"] = server.isHeld;
    object["wrong"] = ToJsonTexts(WhatIsWrong(report));
    return platform::FromUtf8(object.dump(-1, ' ', false, Json::error_handler_t::replace));
}

std::wstring ToText(const SServerReport& report)
{
    std::vector<std::wstring> lines = {HeadLine(report),
                                       DirectoryLine(ToolTexts::IDS_SERVER_REQUEST_DIR, report.requestDir),
                                       DirectoryLine(ToolTexts::IDS_SERVER_OUTPUT_DIR, report.outputDir)};
    if (!report.server.options.empty())
        lines.push_back(WQ_ModuleText(ToolTexts::IDS_SERVER_OPTIONS, {Joined(report.server.options, L" ")}));
    for (const SZelServerPlugin& plugin : report.server.plugins)
        lines.push_back(WQ_ModuleText(
            ToolTexts::IDS_SERVER_PLUGIN,
            {plugin.name, plugin.module, plugin.taskTypes.empty() ? L"-" : Joined(plugin.taskTypes, L", ")}));
    lines.push_back(WQ_ModuleText(ToolTexts::IDS_SERVER_QUEUE,
                                  {std::to_wstring(report.waiting), std::to_wstring(report.paused),
                                   std::to_wstring(report.running.size()), std::to_wstring(report.clients)}));
    if (report.server.isHeld)
        lines.push_back(WQ_ModuleText(ToolTexts::IDS_QUEUE_HELD, {report.outputDir.path}));
    if (report.untaken != 0)
        lines.push_back(WQ_ModuleText(ToolTexts::IDS_SERVER_UNTAKEN, {std::to_wstring(report.untaken)}));
    std::ranges::transform(report.running, std::back_inserter(lines),
                           [](const SRequestState& state) { return ToText(state); });
    for (const std::wstring& reason : report.server.leftOut)
        lines.push_back(WQ_ModuleText(ToolTexts::IDS_SERVER_LEFT_OUT, {reason}));
    for (const std::wstring& hindrance : report.hindrances)
        lines.push_back(WQ_ModuleText(ToolTexts::IDS_SERVER_WRONG, {hindrance}));
    std::wstring text;
    for (const std::wstring& line : lines)
        text += OneLine(line) + L"\n";
    return text;
}
