#pragma once

#include <string>

/// True when a server takes a file of this name for a request: ".drq" or ".xml", in any letter case.
[[nodiscard]] bool IsRequestName(const std::wstring& name);

/// The request to which a file of the shared directories belongs: its own name for a request or a response, the name
/// without
/// ".status" for a status file. Empty for everything else.
[[nodiscard]] std::wstring RequestOfFile(const std::wstring& fileName);

/// Why this can't be the name of a new request; empty when it can.
[[nodiscard]] std::wstring WhyNoRequestName(const std::wstring& name);

/// The name, made unique before its ending: no other call gives it, in this process or another.
[[nodiscard]] std::wstring UniqueRequestName(const std::wstring& name);
