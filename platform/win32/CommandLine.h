#pragma once

#include <string>
#include <utility>
#include <vector>

namespace platform::win32 {

/// One command line that the started program takes apart into these arguments again, the program's name first.
[[nodiscard]] std::wstring MakeCommandLine(const std::wstring& program, const std::vector<std::wstring>& arguments);

/// Our environment with these variables set, in the form that CreateProcessW takes.
[[nodiscard]] std::wstring MakeEnvironmentBlock(const std::vector<std::pair<std::wstring, std::wstring>>& changes);

/// The program's file: the name as given, or with ".exe", or found by the system's search where it is a mere name.
[[nodiscard]] std::wstring FindProgram(const std::wstring& program);

} // namespace platform::win32
