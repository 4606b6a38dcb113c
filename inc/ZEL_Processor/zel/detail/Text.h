#pragma once

#include "ZEL_Processor/zel/Result.h"
#include "platform/OsError.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>

/// Between the application's paths and UTF-8, and the wide text of the library. No part of what zel promises.
namespace zel::detail {

inline constexpr bool kPathsAreWide = std::is_same_v<std::filesystem::path::value_type, wchar_t>;

/// Elsewhere than on Windows the bytes themselves, whatever the locale.
[[nodiscard]] inline std::wstring wide(const std::filesystem::path& path)
{
    if constexpr (kPathsAreWide)
        return path.wstring();
    else
        return platform::FromUtf8(path.string());
}

[[nodiscard]] inline std::filesystem::path pathOf(const std::wstring& text)
{
    if constexpr (kPathsAreWide)
        return text;
    else
        return platform::ToUtf8(text);
}

/// Absolute, and with no separator at the end, as the library wants a directory; an empty one stays empty.
[[nodiscard]] inline std::wstring directory(const std::filesystem::path& path)
{
    std::wstring text = path.empty() ? std::wstring() : platform::AbsolutePath(wide(path));
    while (text.size() > 1 && platform::IsPathSeparator(text.back()) && text[text.size() - 2] != L':')
        text.pop_back();
    return text;
}

[[nodiscard]] inline std::string utf8(const std::filesystem::path& path)
{
    return platform::ToUtf8(wide(path));
}

/// "what 'path': reason".
[[nodiscard]] inline std::string said(std::string_view what, const std::filesystem::path& path,
                                      const std::error_code& error)
{
    return std::string(what) + " '" + utf8(path) + "': " + error.message();
}

/// The same for what a call of the library's layer of files gave.
[[nodiscard]] inline Error fileError(std::string_view what, const std::wstring& path, platform::eOsError why)
{
    return {Code::fileError,
            std::string(what) + " '" + platform::ToUtf8(path) + "': " + platform::ToUtf8(platform::OsErrorText(why))};
}

} // namespace zel::detail
