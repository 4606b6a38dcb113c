#pragma once

#include "platform/OsError.h"
#include "platform/win32/Handle.h"

#include <string>

namespace platform::win32 {

/// The child's ends of its three standard streams.
struct SChildStreams {
    CHandle input;
    CHandle output;
    CHandle error;
};

/// Our own stream in a form that a child inherits; where we have none, what swallows everything.
[[nodiscard]] CHandle ShareOwnStream(DWORD standardHandle);
/// What the child reads: a pipe whose other end is ours, a file, or our own input.
[[nodiscard]] eOsError MakeInput(bool pipe, const std::wstring& file, CHandle& childEnd, CHandle& ourEnd);
/// Where the child complains: a file, or where we do.
[[nodiscard]] eOsError MakeError(const std::wstring& file, CHandle& childEnd);

} // namespace platform::win32
