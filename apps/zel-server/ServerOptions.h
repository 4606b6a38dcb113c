#pragma once

#include "framework/Log.h"

#include <optional>
#include <string>
#include <vector>

struct SServerOptions {
    std::wstring requestDir;
    std::wstring outputDir;
    bool createDirs = false;
    bool adopt = false;
    std::vector<std::wstring> componentFolders;
    bool manual = false;
    bool noExecutive = false;
    bool noSync = false;
    Brel::Log::eLogLevel logLevel = Brel::Log::eLogLevel_Info;
    std::wstring logFile;
    bool logJson = false;
};

/// Empty when the server is to start; else the program's exit code, with everything said.
[[nodiscard]] std::optional<int> ParseServerOptions(const std::vector<std::wstring>& arguments,
                                                    SServerOptions& options);
