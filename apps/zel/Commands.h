#pragma once

#include "apps/zel/Command.h"

#include <memory>
#include <vector>

/// All commands of the tool, in the order of the help.
[[nodiscard]] std::vector<std::unique_ptr<IAnyCommand>> MakeCommands();
