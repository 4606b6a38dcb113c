#pragma once

#include "platform/Export.h"

namespace platform::posix {

/// Renames a file, in one step and never over an existing name. 0 or an errno; EEXIST when the name is taken.
[[nodiscard]] int RenameNoReplace(const char* from, const char* to);

/// Makes renameat2 look as it does on a system that lacks it, so that the way around it is tested where it exists.
ZEL_FRAMEWORK_API void DisableRenameat2ForTest(bool disable);

} // namespace platform::posix
