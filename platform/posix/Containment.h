#pragma once

#include "platform/Containment.h"

#include <optional>
#include <string>

namespace platform::posix {

/// By this variable a program is told of its containment.
inline constexpr wchar_t kContainmentVariable[] = L"ZEL_CONTAINMENT";

[[nodiscard]] std::wstring ContainmentText(const SContainment& containment);
/// Empty for what is none.
[[nodiscard]] std::optional<SContainment> ParseContainment(const std::wstring& text);

} // namespace platform::posix
