#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// What every fuzz target defines: one try of one reader with these bytes. It ends the process when the reader breaks
/// its word. The thread's COM is initialised.
void TryBytes(const std::string& bytes);

/// A file of this process with these bytes, for readers that take a path. One at a time.
[[nodiscard]] std::wstring ScratchFile(const std::string& bytes);

/// Ends the process, in every build.
void Require(bool condition);
