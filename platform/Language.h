#pragma once

#include "platform/Export.h"

#include <string>
#include <vector>

namespace platform {

/// The languages that the user wants to read, best first, spelt as they are found: "de_DE.UTF-8", "de-AT", "fr", "C".
///
/// The variables LC_ALL, LC_MESSAGES and LANG count in this order, the first one that is not empty. Where none is, the
/// languages of the user's desktop on Windows, nothing elsewhere. The list in LANGUAGE ("de:fr") takes their place, as
/// long as there is something else than the locales C and POSIX to take the place of. Empty when nothing is known.
///
/// Reads the environment: see SetEnvironment. Whether a locale is installed does not matter.
[[nodiscard]] ZEL_FRAMEWORK_API std::vector<std::wstring> PreferredLanguages();

/// The part of it that is the system's own: the languages of the user's desktop.
[[nodiscard]] std::vector<std::wstring> DesktopLanguages();

} // namespace platform
