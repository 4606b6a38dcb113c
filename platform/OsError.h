#pragma once

#include "platform/Export.h"

#include <cstdint>
#include <string>

namespace platform {

/// The one vocabulary of failures above the OS layer. The numbers are those of Windows, where the file protocol was
/// born; the POSIX side maps errno to them. A number without a name here is passed on as it is and is still a failure.
enum [[nodiscard]] eOsError : std::uint32_t{
    eOsError_None = 0,
    eOsError_FileNotFound = 2,
    eOsError_PathNotFound = 3, ///< a directory on the way is missing, or is not a directory
    eOsError_TooManyOpenFiles = 4,
    eOsError_AccessDenied = 5,
    eOsError_OutOfMemory = 8,
    eOsError_NotSameDevice = 17,    ///< a move to another volume
    eOsError_SharingViolation = 32, ///< somebody else has the file open
    eOsError_NotSupported = 50,
    eOsError_FileExists = 80,
    eOsError_InvalidParameter = 87,
    eOsError_BrokenPipe = 109,
    eOsError_DiskFull = 112,
    eOsError_NameTooLong = 206,
    eOsError_DirectoryNotEmpty = 145,
    eOsError_AlreadyExists = 183, ///< the target of a move that must not replace
    eOsError_FileTooLarge = 223,  ///< a limit of the process or of the file system
    eOsError_NotADirectory = 267,
    eOsError_LinkInTheWay = 681, ///< a symbolic link, where none is followed
    eOsError_IoError = 1117,
    eOsError_ForeignOwner = 1307,     ///< a directory of another user, where only an own one is trusted
    eOsError_TooManyWatches = 1450,   ///< the system watches no further directory
    eOsError_NotDurable = 0x2FFF0001, ///< a move that was made and could not be synced; a number of our own
};

/// "Not there", in both spellings that a file system may use.
[[nodiscard]] constexpr bool IsAbsent(eOsError error)
{
    return error == eOsError_FileNotFound || error == eOsError_PathNotFound;
}

[[nodiscard]] constexpr bool Succeeded(eOsError error)
{
    return error == eOsError_None;
}

/// True when a move was made, whether or not it would survive a power cut.
[[nodiscard]] constexpr bool HasMoved(eOsError error)
{
    return error == eOsError_None || error == eOsError_NotDurable;
}

inline constexpr const wchar_t* kForeignOwnerText = L"It belongs to another user";
inline constexpr const wchar_t* kNotDurableText = L"Moved, but a power cut may undo it: the sync failed";

/// The system's own words for a failure, without a line end. Never empty: an unknown number is named by the number.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring OsErrorText(eOsError error);

} // namespace platform
