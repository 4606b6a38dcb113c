#pragma once

#include "ZEL_Processor/IWQ_CLSIDArray.h"
#include "framework/DsEventsData.h"

#include <string>

/// What a listener tells of a change, as a JSON object on one line or as a line for people; without line ends. All
/// throw CComError when an object does.

/// A change of the data. Parts that are missing or empty are left out.
[[nodiscard]] std::wstring EventToJson(IWQ_DsEventsData& event);
[[nodiscard]] std::wstring EventToText(IWQ_DsEventsData& event);

/// Changed groups; null for "everything may have changed".
[[nodiscard]] std::wstring GroupsToJson(IWQ_CLSIDArray* groups);
[[nodiscard]] std::wstring GroupsToText(IWQ_CLSIDArray* groups);

[[nodiscard]] std::wstring LockResultsToJson();
[[nodiscard]] std::wstring LockResultsToText();
