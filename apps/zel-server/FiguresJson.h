#pragma once

#include "ZEL_Processor/ZelServerFigures.h"
#include "apps/zel-server/FigureHistory.h"
#include "platform/DiskSpace.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// What a server is, for whoever shows its figures.
struct SFigureFacts {
    struct SPlugin {
        std::wstring name;
        std::wstring state; ///< "used", or why not
    };

    std::wstring version;
    std::wstring host;
    std::uint32_t process = 0;
    std::int64_t started = 0; ///< seconds since 1970-01-01 UTC
    std::wstring language;
    std::wstring requestDir;
    std::wstring outputDir;
    std::vector<SPlugin> plugins;
    unsigned heartbeat = 0; ///< in seconds: so often it is written even if nothing changes; 0: not then
    std::optional<platform::SDiskSpace> requestSpace; ///< empty when the system does not tell
    std::optional<platform::SDiskSpace> outputSpace;
    std::int64_t now = 0;                  ///< milliseconds since 1970-01-01 UTC
    std::chrono::nanoseconds steadyNow{0}; ///< the same instant by the steady clock
    bool hasEnded = false;                 ///< in good order
};

/// One JSON object in ASCII, without anything that has a meaning where a page holds it: no "<", ">" and "&", and no
/// line ends of Unicode. docs/monitoring.md tells what stands in it.
[[nodiscard]] std::string FiguresJson(const SZelServerFigures& figures, const CFigureHistory& history,
                                      const SFigureFacts& facts);
