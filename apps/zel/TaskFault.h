#pragma once

#include "platform/Fault.h"

#include <chrono>
#include <functional>
#include <string>

/// How long the report of a fault that ends the process may take.
constexpr std::chrono::seconds kTaskReportTime{30};

/// Runs the body. False when an exception or a fault left it: the text tells which and where, with the stack, and names
/// the crash report.
[[nodiscard]] bool RunTaskContained(const std::function<void()>& body, std::wstring& fault);

/// Writes the crash report of a fault that nothing contains and says so on standard error: a thread of the plug-in's
/// own, or a call of exit, which end the process.
void TellStrayFault(const platform::SFaultRecord& record);
