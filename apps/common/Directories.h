#pragma once

#include <string>

/// A directory as the library wants it: absolute, without separators at its end (but for a root).
[[nodiscard]] std::wstring NormalDirectory(const std::wstring& path);
