#pragma once

#include "com/Com.h"

#include <string>

namespace com_win32 {

/// The module that the text of an InprocServer32 key names: without the quotes that some installers write, and for a
/// bare name where the system finds it, the current folder aside. What is not found stays as it is.
[[nodiscard]] std::wstring ModuleOfServer(std::wstring text);

/// The module that serves a class; empty when none does.
[[nodiscard]] std::wstring ServerOf(REFCLSID classId);

/// Two names of one file.
[[nodiscard]] bool IsSameModule(const std::wstring& left, const std::wstring& right);

/// True when a class of the registry is served by the module.
[[nodiscard]] bool ServesAnyClass(const std::wstring& modulePath);

} // namespace com_win32
