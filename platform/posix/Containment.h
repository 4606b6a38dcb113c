#pragma once

#include "platform/Containment.h"

#include <string>

namespace platform::posix {

/// By this variable a program is told of its containment.
inline constexpr wchar_t kContainmentVariable[] = L"ZEL_CONTAINMENT";

[[nodiscard]] std::wstring ContainmentText(const SContainment& containment);

} // namespace platform::posix
