#pragma once

#include "ZEL_Processor/zel/ServerInfo.h"
#include "ZEL_Processor/zel/detail/Core.h"
#include "platform/Os.h"

/// What is told of a server. No part of what zel promises.
namespace zel::detail {

[[nodiscard]] inline std::vector<std::string> utf8(const std::vector<CString>& texts)
{
    std::vector<std::string> narrow;
    for (const CString& text : texts)
        narrow.push_back(platform::ToUtf8(text));
    return narrow;
}

[[nodiscard]] inline std::optional<std::chrono::system_clock::time_point> timeOf(std::int64_t seconds)
{
    if (seconds == 0)
        return {};
    return std::chrono::system_clock::time_point(std::chrono::seconds(seconds));
}

[[nodiscard]] inline ServerInfo toServerInfo(const SZelServerInfo& info)
{
    ServerInfo server;
    server.presence = static_cast<ServerPresence>(info.presence);
    server.process = info.process;
    server.started = timeOf(info.started);
    server.ended = timeOf(info.ended);
    server.hasStopped = info.hasStopped;
    server.version = platform::ToUtf8(info.version);
    server.requests = pathOf(info.requestDir);
    server.options = utf8(info.options);
    for (const SZelServerPlugin& plugin : info.plugins)
        server.plugins.push_back({platform::ToUtf8(plugin.name), pathOf(plugin.module), utf8(plugin.taskTypes)});
    server.leftOut = utf8(info.leftOut);
    return server;
}

/// What waits has no status, so only what has one is asked for it. A stop of the client ends the look.
inline void lookAtQueue(Core& core, ServerInfo& server)
{
    const std::wstring queue = platform::JoinPath(core.place.output, ZelProtocol::kQueueDirectory);
    static_cast<void>(platform::Files().Visit(queue, [&](const platform::SDirectoryEntry& entry) {
        if (entry.isDirectory)
            return true;
        Status status;
        status.state = State::waiting;
        if (Core::exists(core.statusFile(entry.name)))
            status = core.status(entry.name);
        if (status.state == State::waiting)
            ++server.waiting;
        else if (status.state == State::paused)
            ++server.paused;
        else if (status.isRunning())
            server.running.push_back(platform::ToUtf8(entry.name));
        return !core.isStopped();
    }));
}

[[nodiscard]] inline ServerInfo serverInfo(Core& core)
{
    const Reports reports;
    ServerInfo server = toServerInfo(core.client.GetServerInfo());
    lookAtQueue(core, server);
    return server;
}

} // namespace zel::detail
