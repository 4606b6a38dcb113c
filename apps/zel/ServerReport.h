#pragma once

#include "ZEL_Processor/ZelServerInfo.h"
#include "apps/zel/ToolSession.h"
#include "platform/DiskSpace.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// What can be seen of a server and of its work.
struct SServerReport {
    struct SDirectory {
        std::wstring path;
        std::optional<platform::SDiskSpace> space; ///< empty when the system does not tell
    };

    SZelServerInfo server;
    SDirectory requestDir;
    SDirectory outputDir;
    std::size_t untaken = 0; ///< requests in the request directory
    std::size_t waiting = 0; ///< in the queue
    std::size_t paused = 0;
    std::vector<SRequestState> running; ///< with their age: since when they run
    std::size_t clients = 0;
    std::vector<std::wstring> hindrances; ///< what keeps requests from being served, or ended the server

    /// A server serves, and nothing hinders it. Plug-ins that were left out do not: it may be meant so.
    [[nodiscard]] bool IsHealthy() const { return server.presence == eServerPresence_Serves && hindrances.empty(); }
};

[[nodiscard]] SServerReport MakeServerReport(CToolSession& session);

/// One JSON object, on one line without line end.
[[nodiscard]] std::wstring ToJson(const SServerReport& report);
/// The line of it that says whether there is a server, and which.
[[nodiscard]] std::wstring HeadLine(const SServerReport& report);
/// "1.5 GiB".
[[nodiscard]] std::wstring SizeText(std::uint64_t bytes);
/// For people, in lines.
[[nodiscard]] std::wstring ToText(const SServerReport& report);
