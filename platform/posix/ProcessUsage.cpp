#include "platform/posix/ProcessUsage.h"

#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <unistd.h>

namespace platform::posix {

std::uint64_t OwnPeakMemory()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
}

std::chrono::nanoseconds CpuTimeOf(const rusage& usage)
{
    const auto time = [](const timeval& value) {
        return std::chrono::seconds(value.tv_sec) + std::chrono::microseconds(value.tv_usec);
    };
    return time(usage.ru_utime) + time(usage.ru_stime);
}

/// From its status line, in which they are the 14th and 15th field. The second, its name, is in parentheses and may
/// hold anything.
std::chrono::nanoseconds CpuTimeOfRunning(pid_t id)
{
    std::ifstream file("/proc/" + std::to_string(id) + "/stat");
    std::string line;
    std::getline(file, line);
    const std::size_t name = line.rfind(')');
    if (name == std::string::npos)
        return {};
    std::istringstream fields(line.substr(name + 1));
    std::string skipped;
    for (int field = 3; field < 14; ++field)
        fields >> skipped;
    std::uint64_t user = 0;
    std::uint64_t system = 0;
    fields >> user >> system;
    const auto ticks = static_cast<std::uint64_t>(sysconf(_SC_CLK_TCK));
    return std::chrono::nanoseconds((user + system) * (1'000'000'000 / ticks));
}

std::uint64_t PeakMemoryOfRunning(pid_t id)
{
    std::ifstream file("/proc/" + std::to_string(id) + "/status");
    constexpr std::string_view wanted = "VmHWM:";
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(wanted))
            return std::stoull(line.substr(wanted.size())) * 1024;
    }
    return 0;
}

} // namespace platform::posix
