#pragma once

#include "platform/Export.h"

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

} // namespace platform
