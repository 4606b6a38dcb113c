#pragma once

#include "platform/NameKind.h"
#include "platform/win32/WindowsHeader.h"

namespace platform::win32 {

/// Of what a search found. It tells what kind of a link it is, which the attributes alone do not.
[[nodiscard]] eNameKind KindOf(const WIN32_FIND_DATAW& found);

} // namespace platform::win32
