#pragma once

#include "ZEL_Processor/ZelTypes.h"
#include "com/Com.h"
#include "platform/FileSystem.h"

#include <atomic>
#include <functional>

/// What both sides of the file protocol share: the names, and the ways files are opened, handed over and cleared.
namespace Protocol {

constexpr const wchar_t* kQueueDirectory = L"Queue";
constexpr const wchar_t* kStatusExtension = L".status";
constexpr const wchar_t* kLockExtension = L".lock";
constexpr const wchar_t* kCommandExtension = L".command";
constexpr const wchar_t* kRequestExtension = L".drq";
constexpr const wchar_t* kXmlRequestExtension = L".xml";
constexpr const wchar_t* kDsEventsPrefix = L"DsEvents_";
constexpr const wchar_t* kInsertableItemsPrefix = L"InsertableItemsGroup_";
constexpr const wchar_t* kLockResultsPrefix = L"LockResultsChange_";

/// The meaning of a file in the request directory, by its extension in any letter case.
enum eFileKind { eFileKind_Other, eFileKind_Request, eFileKind_Command };
[[nodiscard]] eFileKind GetFileKind(const CString& name);

/// Asked before every further try; false ends the trying. An empty one goes on for as long as it takes.
using GoOn = std::function<bool()>;

/// Tries until it succeeds, fails otherwise than with a sharing violation, or goOn is false. There is no other limit:
/// the protocol relies on the other side closing its file. The first tries only yield, because the other side usually
/// needs microseconds; later ones sleep a millisecond, because a stranger that copies a large file would cost a whole
/// core.
[[nodiscard]] platform::eOsError RetryWhileShared(const std::function<platform::eOsError()>& attempt, const GoOn& goOn);
[[nodiscard]] platform::eOsError RetryWhileShared(const std::function<platform::eOsError()>& attempt,
                                                  const std::atomic<bool>* pGoOn = nullptr);
/// Tries for a second at most: for what is done under a lock that others wait for, or only tidies up.
[[nodiscard]] platform::eOsError RetryForASecond(const std::function<platform::eOsError()>& attempt);

/// Hands a file over by moving it as soon as nobody has it open any more. flags: platform::eMoveFlag. One that was
/// moved but could not be synced is reported.
[[nodiscard]] platform::eOsError MoveWhenFree(const CString& from, const CString& to, unsigned flags, const GoOn& goOn);
/// True also when the file was moved but could not be synced: who sent it again would have it done twice.
[[nodiscard]] bool MoveFileWhenFree(const CString& from, const CString& to, unsigned flags, const GoOn& goOn);
[[nodiscard]] bool MoveFileWhenFree(const CString& from, const CString& to, unsigned flags,
                                    const std::atomic<bool>* pGoOn = nullptr);

/// Deletes a file that the other side has written to its end and is closing: for an instant after its lock is gone it
/// is still open there (Linux gives up a lock before the descriptor: __fput in fs/file_table.c). Tries for a second; a
/// file that is held longer stays, and nobody waits for ever for something that only tidies up. False when the file is
/// not deleted.
bool RemoveFileWhenFree(const CString& path);

/// Deletes every file, sub-directories aside; failures of single deletions are ignored. False when there is no such
/// directory.
bool DeleteAllFilesInDir(const CString& dir);

/// Reads the server's answer to a registration: the client's id, on the first line. All zero when the file has none.
[[nodiscard]] platform::eOsError ReadRegistrationAnswer(const CString& path, GUID& clientId);

} // namespace Protocol
