#pragma once

#include "platform/OsError.h"

#include <string>

/// Does once in a directory what a server does there all the time, so that a missing right is known before anything
/// else is done, or is told to who asks. What is made for it is gone afterwards; its name is none that anybody looks
/// at.

/// Makes a file, gives it another name and removes it.
[[nodiscard]] platform::eOsError TryFiles(const std::wstring& directory);

/// Moves a file that is made in one directory to another one, and removes it there.
[[nodiscard]] platform::eOsError TryMove(const std::wstring& from, const std::wstring& to);

/// Whether a file there that a program writes, who knows nothing of us, is seen as in use.
[[nodiscard]] platform::eOsError TryOpenFile(const std::wstring& directory, bool& isSeen);

/// The name of what is made for a trial.
[[nodiscard]] bool IsTrial(const std::wstring& name);

/// Removes what a process left that was killed at its trial. One that is under way succeeds all the same.
void RemoveLeftTrials(const std::wstring& directory);

/// Makes a folder and removes it: in the directory or, where that is yet to be made, in the nearest one above it.
[[nodiscard]] platform::eOsError TryFolder(const std::wstring& directory);
