#pragma once

#include <string>

namespace testsupport {

/// Makes a symbolic link; the target need not exist. False where the system has none to give: Windows wants a privilege
/// for them, and Wine has none at all.
[[nodiscard]] bool MakeLink(const std::wstring& target, const std::wstring& link);

} // namespace testsupport
