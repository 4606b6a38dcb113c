#pragma once

#include "apps/zel/ToolSession.h"
#include "platform/OsError.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>

/// The most that a server can be made to take.
constexpr std::uint64_t kMaxInputBytes = std::uint64_t{1} << 30;

/// Copies the content of a file to a new file or over an existing one, and waits until it is on the storage device.
/// False with the reason, which names the file that failed, also when the tool is to stop; the target is then gone.
[[nodiscard]] bool CopyContent(CToolSession& session, const std::wstring& from, const std::wstring& to,
                               std::wstring& error);

/// The next bytes of a source; read = 0 at its end.
using ByteSource = std::function<platform::eOsError(std::span<std::byte> buffer, std::size_t& read)>;
/// The same from a source without a name of its own, which may have no end: more than maxBytes fails.
[[nodiscard]] bool CopyBytes(CToolSession& session, const ByteSource& source, const std::wstring& sourceName,
                             std::uint64_t maxBytes, const std::wstring& to, std::wstring& error);
/// The same from standard input.
[[nodiscard]] bool CopyInput(CToolSession& session, const std::wstring& to, std::wstring& error);
/// Writes the content of a file to standard output, or into the device that a path names. What went out before a
/// failure stays out.
[[nodiscard]] bool CopyToOutput(CToolSession& session, const std::wstring& from, std::wstring& error);
[[nodiscard]] bool CopyToDevice(CToolSession& session, const std::wstring& from, const std::wstring& to,
                                std::wstring& error);

/// Deletes a file, waiting a short time for others who have it open. One that is not there is a success.
[[nodiscard]] platform::eOsError RemoveWhenFree(const std::wstring& path);
