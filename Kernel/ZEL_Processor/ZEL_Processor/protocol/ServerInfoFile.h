#pragma once

#include "ZEL_Processor/ZelServerInfo.h"
#include "platform/OsError.h"

#include <cstddef>
#include <string>
#include <string_view>

/// What a server tells of itself, in a file of its own folder, of KeyedLines. Keys that are not known are passed over.
namespace ServerInfoFile {

/// A longer one is not read; one that is written ends with the last line before the first that does not fit.
constexpr std::size_t kMaxBytes = 256 * 1024;

[[nodiscard]] std::string ToText(const SZelServerInfo& info);
/// False for what is no such file, or not all of one. Presence, hasStopped and isHeld are not in it.
[[nodiscard]] bool FromText(std::string_view text, SZelServerInfo& info);

/// Replaces the file as a whole. Its folder must be there.
[[nodiscard]] platform::eOsError Write(const CString& path, const SZelServerInfo& info);
/// False when there is none that can be read. Takes no exclusive lock.
[[nodiscard]] bool Read(const CString& path, SZelServerInfo& info);

} // namespace ServerInfoFile
