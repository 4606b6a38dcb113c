#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace zel {

/// Whether a server serves the output directory.
enum class ServerPresence : std::int32_t {
    unknown =
        0, ///< nobody can tell: it makes no claim (zel-server --strict does not), or its claim cannot be looked at
    none = 1,
    serves = 2
};

/// One plug-in of a server.
struct ServerPlugin {
    std::string name;
    std::filesystem::path module;
    std::vector<std::string> taskTypes; ///< empty when it does not tell them
};

/// What can be seen of a server at one moment. Text is UTF-8; empty is what is not known.
struct ServerInfo {
    ServerPresence presence = ServerPresence::unknown;
    std::uint32_t process = 0;
    std::optional<std::chrono::system_clock::time_point> started;
    /// Of the last one, when none serves: when it stopped, or was seen alive last.
    std::optional<std::chrono::system_clock::time_point> ended;
    bool hasStopped = false; ///< it said so itself; else it was killed, or the machine went down

    // What the server published; all of it empty when it published nothing, or not for this user.
    std::string version;
    std::filesystem::path requests;   ///< where it takes requests from
    std::vector<std::string> options; ///< in force, as words of a command line
    std::vector<ServerPlugin> plugins;
    std::vector<std::string> leftOut; ///< plug-ins that are not used, with the reasons

    // Its queue, as it is whether or not it serves. Requests that it has not taken are not in it.
    std::size_t waiting = 0;
    std::size_t paused = 0;
    std::vector<std::string> running; ///< names, as Client::request takes them
};

} // namespace zel
