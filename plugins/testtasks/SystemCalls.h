#pragma once

#include "ZEL_Processor/ZelTypes.h"

/// Makes a call of the system that no ordinary task makes. Empty when it succeeds, else what is wrong.
[[nodiscard]] CString TrySystemCall(const CString& name);
