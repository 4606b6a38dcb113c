#pragma once

#include "ProtocolPaths.h"
#include "platform/FileSystem.h"

#include <functional>

/// What both sides of the file protocol share: the ways files are opened, handed over and cleared.
namespace Protocol {

/// Asked before every further try; false ends the trying. An empty one goes on for as long as it takes.
using GoOn = std::function<bool()>;

/// Tries until it succeeds, fails otherwise than with a sharing violation, or goOn is false. There is no other limit:
/// the protocol relies on the other side closing its file. The first tries only yield, because the other side usually
/// needs microseconds; later ones sleep a millisecond, because a stranger that copies a large file would cost a whole
/// core.
[[nodiscard]] platform::eOsError RetryWhileShared(const std::function<platform::eOsError()>& attempt, const GoOn& goOn);
/// Tries for a second at most: for what is done under a lock that others wait for, or only tidies up.
[[nodiscard]] platform::eOsError RetryForASecond(const std::function<platform::eOsError()>& attempt);

/// Hands a file over by moving it as soon as nobody has it open any more. flags: platform::eMoveFlag. One that was
/// moved but could not be synced is reported.
[[nodiscard]] platform::eOsError MoveWhenFree(const CString& from, const CString& to, unsigned flags, const GoOn& goOn);
/// True also when the file was moved but could not be synced: who sent it again would have it done twice.
[[nodiscard]] bool MoveFileWhenFree(const CString& from, const CString& to, unsigned flags, const GoOn& goOn = {});

/// Deletes a file as soon as nobody has it open any more.
[[nodiscard]] platform::eOsError RemoveWhenFree(const CString& path, const GoOn& goOn);

/// Deletes a file that the other side has written to its end and is closing: for an instant after its lock is gone it
/// is still open there (Linux gives up a lock before the descriptor: __fput in fs/file_table.c). Tries for a second; a
/// file that is held longer stays, and nobody waits for ever for something that only tidies up. False when the file is
/// not deleted.
bool RemoveFileWhenFree(const CString& path);

/// Deletes every file, sub-directories aside; failures of single deletions are ignored. False when there is no such
/// directory.
bool DeleteAllFilesInDir(const CString& dir);

} // namespace Protocol
