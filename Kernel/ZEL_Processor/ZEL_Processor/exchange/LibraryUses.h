#pragma once

#include "com/ModuleClasses.h"

/// What keeps the library loaded. Objects that others hold through COM count themselves here.
[[nodiscard]] CModuleUses& LibraryUses() noexcept;
