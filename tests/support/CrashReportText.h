#pragma once

#include <string>

namespace testsupport {

/// What stands behind a name at the beginning of a line of a crash report; empty without such a line.
inline std::string CrashReportValue(const std::string& report, const std::string& name)
{
    const std::size_t start = report.find("\n" + name + ":");
    if (start == std::string::npos)
        return {};
    const std::size_t value = report.find_first_not_of(' ', start + name.size() + 2);
    return report.substr(value, report.find('\n', value) - value);
}

} // namespace testsupport
