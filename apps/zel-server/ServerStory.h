#pragma once

#include "apps/zel-server/ServerOptions.h"

#include <string>
#include <vector>

/// What the log tells of this program itself, and --check on standard output: in which version and with which options
/// it serves, where, and which plug-ins with which types of tasks there are. In English, as the log is.

/// A plug-in, its module, and the types of tasks that it says it serves. Those that cannot be made are left out. On a
/// thread whose COM is initialised.
[[nodiscard]] std::vector<std::wstring> PluginLines();

/// "'DIR' (ext4)".
[[nodiscard]] std::wstring DirectoryText(const std::wstring& directory);

/// The options in force as they would be typed, but for the directories.
[[nodiscard]] std::wstring OptionsText(const SServerOptions& options);

/// A line of the log.
void TellStory(const SServerOptions& options, const std::wstring& text);

/// Of the start, when the plug-ins are known.
void TellStart(const SServerOptions& options);
