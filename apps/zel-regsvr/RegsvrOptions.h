#pragma once

#include "com/Registration.h"

#include <optional>
#include <string>
#include <vector>

/// What the user wants.
struct SRegsvrOptions {
    bool list = false;
    bool unregister = false;
    eRegistrationScope scope = eRegistrationScope_System;
    std::vector<std::wstring> modules;
};

/// Empty when the program is to go on; else its exit code.
[[nodiscard]] std::optional<int> ParseRegsvrOptions(const std::vector<std::wstring>& arguments,
                                                    SRegsvrOptions& options);
