#pragma once

#include "platform/OsError.h"

#include <string>

/// Replaces a file as a whole, so that a reader has the one before or this one: it is made beside, with ".new" behind
/// its name, and moved. A link in its place is replaced, and none is followed. One that a reader has open is waited for
/// for an instant.
[[nodiscard]] platform::eOsError ReplaceFile(const std::wstring& path, const std::string& bytes);
