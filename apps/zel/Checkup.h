#pragma once

#include "apps/zel/ToolSession.h"

#include <string>
#include <vector>

/// What is looked at when something does not work. Files of its own are made and removed for it in the directories;
/// those of others are not touched.
enum eFindingLevel { eFindingLevel_Ok, eFindingLevel_Warn, eFindingLevel_Fail };

struct SFinding {
    const char* check; ///< a word for programs
    eFindingLevel level = eFindingLevel_Ok;
    std::wstring text;
    std::wstring advice; ///< what to do; empty when all is well
};

[[nodiscard]] std::vector<SFinding> CheckUp(CToolSession& session);

/// One JSON object, on one line without line end.
[[nodiscard]] std::wstring ToJson(const SFinding& finding);
/// For people: "WARN  text", and what to do on a line of its own.
[[nodiscard]] std::wstring ToText(const SFinding& finding);
