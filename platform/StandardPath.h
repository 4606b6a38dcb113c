#pragma once

#include "platform/Path.h"

#include <filesystem>
#include <type_traits>

namespace platform {

/// A path for the functions of std::filesystem, which keep bytes on one system and wide text on the other. Their own
/// conversion of wide text to bytes depends on the locale, and refuses names that are not valid there.
[[nodiscard]] inline std::filesystem::path StandardPath(const std::wstring& path)
{
    if constexpr (std::is_same_v<std::filesystem::path::value_type, wchar_t>)
        return std::filesystem::path(path);
    else
        return std::filesystem::path(NarrowPath(path));
}

} // namespace platform
