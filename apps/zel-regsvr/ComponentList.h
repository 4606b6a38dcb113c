#pragma once

#include <string>

/// What is registered, for people; isBroken when something of it cannot be used. Loads every module and makes an object
/// of each class, as a server would. Needs a thread with COM.
[[nodiscard]] std::wstring ListOfComponents(bool& isBroken);
