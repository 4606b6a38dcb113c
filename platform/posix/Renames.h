#pragma once

namespace platform::posix {

/// Renames a file, in one step and never over an existing name. 0 or an errno; EEXIST when the name is taken.
[[nodiscard]] int RenameNoReplace(const char* from, const char* to);

} // namespace platform::posix
