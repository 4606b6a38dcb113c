#pragma once

#include "platform/Export.h"
#include "platform/FileSystem.h"
#include "platform/OsError.h"

#include <string>

/// Whether code that lies in a file may run with the rights of this process.
namespace platform {

/// Why what lies at a path (a module, a manifest, a folder of them) must not be executed or believed, as "PATH belongs
/// to user 1000"; empty when it may. What counts is who could have put it there, or can put something else in its
/// place: the owner of the path and of every folder above, and who may write there. Trusted are the system (root;
/// Administrators, SYSTEM and TrustedInstaller on Windows) and the user that this process runs as. A file is looked at
/// together with its own folder, where others must not be able to lay anything beside it. Links on the way are followed
/// and looked at as well; on Windows none is accepted. What cannot be looked at is not trusted, and neither is what
/// does not exist.
///
/// The answer holds for a later use: the way is looked at from the root downwards, so nobody else can have changed or
/// can change what was found to be out of his reach.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring DistrustOf(const std::wstring& path);

/// Takes from all but the owner every right to a file; on Windows the system and administrators keep theirs.
[[nodiscard]] ZEL_FRAMEWORK_API eOsError KeepPrivate(const std::wstring& path);

/// Makes a folder that nobody else may use. One that is there already is a success when it is to be trusted, else
/// AccessDenied.
[[nodiscard]] ZEL_FRAMEWORK_API eOsError MakePrivateFolder(const std::wstring& path);

/// True for a file, and no link to one, that this user has made.
[[nodiscard]] ZEL_FRAMEWORK_API bool IsFileOfThisUser(const std::wstring& path);

/// True for the owner of a file who is an administrator of the system: root; on Windows the administrators and the
/// system. False for whom the files of this very process belong to, whoever that is: who may move these could say that
/// an administrator had made them.
[[nodiscard]] ZEL_FRAMEWORK_API bool IsAdministrator(const FileOwner& owner);

/// Names this user, for names of files that each user has his own of.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring UserTag();

} // namespace platform
