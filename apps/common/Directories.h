#pragma once

#include "platform/OsError.h"

#include <string>

/// A directory as the library wants it: absolute, without separators at its end (but for a root).
[[nodiscard]] std::wstring NormalDirectory(const std::wstring& path);

/// True when both paths name one existing directory, whatever links or spellings lead there.
[[nodiscard]] bool IsSameDirectory(const std::wstring& left, const std::wstring& right);

/// Creates a directory and what is missing of the way to it. One that exists is a success.
[[nodiscard]] platform::eOsError MakeDirectories(const std::wstring& path);
