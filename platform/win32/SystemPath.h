#pragma once

#include <string>

namespace platform::win32 {

/// The path as the system's calls want it. One that is too long for the classic limit becomes absolute and gets the
/// prefix that lifts the limit; a text that would be cut at a null character becomes one that names nothing.
[[nodiscard]] std::wstring ToSystemPath(const std::wstring& path);

} // namespace platform::win32
