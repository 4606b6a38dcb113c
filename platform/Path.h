#pragma once

#include "platform/Export.h"

#include <string>
#include <string_view>

/// Path texts, taken apart and put together without touching the disk.
namespace platform {

/// The separator that this system writes between directory and name.
ZEL_FRAMEWORK_API extern const wchar_t kPathSeparator;

/// True for every character that this system accepts as a separator ("/" too on Windows).
[[nodiscard]] ZEL_FRAMEWORK_API bool IsPathSeparator(wchar_t character);

/// directory + separator + name by plain concatenation: a separator that the directory already ends in is kept as well.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring JoinPath(std::wstring_view directory, std::wstring_view name);

/// The part after the last separator (and, on Windows, after the drive's colon); the whole text when there is none.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring FileNameOf(std::wstring_view path);

/// From the last dot of the final component, the dot included; empty when it has none.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring ExtensionOf(std::wstring_view path);

/// The part before the final component, without its separator; empty when there is none.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring DirectoryOf(std::wstring_view path);

/// True when the text names one file of a directory and nothing else: not empty, not "." or "..", no separator of
/// either system, no drive colon, no control character, at most 255 units; on Windows no device either, and no dot or
/// blank at the end, which would name another file. Names from outside pass this before they are joined to a directory.
[[nodiscard]] ZEL_FRAMEWORK_API bool IsPlainFileName(std::wstring_view name);

/// True when it is one on every system, whatever this one is: for names that are given here and may be used elsewhere.
[[nodiscard]] ZEL_FRAMEWORK_API bool IsPortableFileName(std::wstring_view name);

/// An absolute form of a path against the current directory, without resolving links; on failure the path as given.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring AbsolutePath(std::wstring_view path);

/// The path as the bytes that C libraries of this system want in a "const char*": the original bytes on POSIX, UTF-8 on
/// Windows (for libraries that take UTF-8 there, such as SQLite).
[[nodiscard]] ZEL_FRAMEWORK_API std::string NarrowPath(std::wstring_view path);

} // namespace platform
