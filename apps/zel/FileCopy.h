#pragma once

#include "apps/zel/Patience.h"
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
/// What a target is called in a reason is toName, for one with a name that nobody knows.
[[nodiscard]] bool CopyContent(IPatience& patience, const std::wstring& from, const std::wstring& to,
                               const std::wstring& toName, std::wstring& error);

/// The next bytes of a source; read = 0 at its end.
using ByteSource = std::function<platform::eOsError(std::span<std::byte> buffer, std::size_t& read)>;
/// The same from a source without a name of its own, which may have no end: more than maxBytes fails.
[[nodiscard]] bool CopyBytes(IPatience& patience, const ByteSource& source, const std::wstring& sourceName,
                             std::uint64_t maxBytes, const std::wstring& to, std::wstring& error);
/// The same from standard input.
[[nodiscard]] bool CopyInput(IPatience& patience, const std::wstring& to, std::wstring& error);
/// All of standard input. False with the reason, also when there is more than maxBytes.
[[nodiscard]] bool ReadAllInput(IPatience& patience, std::uint64_t maxBytes, std::string& bytes, std::wstring& error);
/// Writes the content of a file to standard output, or into the device that a path names. What went out before a
/// failure stays out.
[[nodiscard]] bool CopyToOutput(IPatience& patience, const std::wstring& from, std::wstring& error);
[[nodiscard]] bool CopyToDevice(IPatience& patience, const std::wstring& from, const std::wstring& to,
                                std::wstring& error);

/// Why a path cannot be read as a file: it names a folder, or a pipe or device. Empty when it is something else.
[[nodiscard]] std::wstring WhyNoFile(const std::wstring& path);

/// Deletes a file, waiting a short time for others who have it open. One that is not there is a success.
[[nodiscard]] platform::eOsError RemoveWhenFree(const std::wstring& path);
