#pragma once

#include <string>

/// Lets a module register itself, or take that back, in the scope of the process. False with a text that names the file
/// and the reason.
[[nodiscard]] bool RegisterModule(const std::wstring& path, std::wstring& error);
[[nodiscard]] bool UnregisterModule(const std::wstring& path, std::wstring& error);
