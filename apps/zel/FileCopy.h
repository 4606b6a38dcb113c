#pragma once

#include "apps/zel/ToolSession.h"
#include "platform/OsError.h"

#include <string>

/// Copies the content of a file to a new file or over an existing one, and waits until it is on the storage device.
/// False with the reason, which names the file that failed, also when the tool is to stop; the target is then gone.
[[nodiscard]] bool CopyContent(CToolSession& session, const std::wstring& from, const std::wstring& to,
                               std::wstring& error);

/// Deletes a file, waiting a short time for others who have it open. One that is not there is a success.
[[nodiscard]] platform::eOsError RemoveWhenFree(const std::wstring& path);
