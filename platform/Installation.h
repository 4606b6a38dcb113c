#pragma once

#include "platform/Export.h"
#include "platform/OsError.h"

#include <string>

/// What a program that installs something needs beyond the file system of the protocol.
namespace platform {

/// Creates a directory and what is missing of the way to it. One that exists is a success.
[[nodiscard]] ZEL_FRAMEWORK_API eOsError MakeDirectories(const std::wstring& path);

/// True when both paths name one existing file or directory, whatever links or spellings lead there.
[[nodiscard]] ZEL_FRAMEWORK_API bool IsSameFile(const std::wstring& left, const std::wstring& right);

/// Takes from all others the right to write to a file or directory, so that they are no reason for DistrustOf
/// (platform/Trust.h).
[[nodiscard]] ZEL_FRAMEWORK_API eOsError KeepOthersFromWriting(const std::wstring& path);

} // namespace platform
