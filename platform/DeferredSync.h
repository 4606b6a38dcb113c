#pragma once

#include <string_view>

namespace platform {

/// For the file systems' Move: true when a CDeferredDirectorySync lives on this thread.
[[nodiscard]] bool IsDirectorySyncDeferred();

/// Notes a directory for the sync at the end of the outermost CDeferredDirectorySync of this thread, once per
/// directory.
void DeferDirectorySync(std::wstring_view directory);

} // namespace platform
