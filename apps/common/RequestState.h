#pragma once

#include "ZEL_Processor/ZelProcessorClient.h"
#include "apps/common/ExitCodes.h"

#include <cstdint>
#include <optional>
#include <string>

/// What a program knows of a request, ready to be shown.
struct SRequestState {
    std::wstring name;
    eZelProcRequestStatus status = eRequestStatus_NotIntialized;
    std::optional<std::int32_t> percent;
    std::wstring comment;
    std::optional<std::int64_t> created; ///< of the status file; seconds since 1970-01-01 UTC
    std::optional<std::int64_t> modified;

    friend bool operator==(const SRequestState&, const SRequestState&) = default;
};

[[nodiscard]] SRequestState MakeState(const std::wstring& name, eZelProcRequestStatus status,
                                      const CZelProcessorClient::CAdditionalRequestStatus& additional);
[[nodiscard]] SRequestState ReadState(CZelProcessorClient& client, const std::wstring& name);

/// The JSON object of a state, on one line without line end. A name or comment that is no valid Unicode has U+FFFD in
/// place of what is not.
[[nodiscard]] std::wstring ToJson(const SRequestState& state);

/// The state for people, on one line: "name: Calculating 42 % comment", in the user's language.
[[nodiscard]] std::wstring ToText(const SRequestState& state);

/// The status for people, in a word of their language; in English it is the status name without its prefix. Programs
/// read the status itself, in JSON.
[[nodiscard]] std::wstring StatusWord(eZelProcRequestStatus status);

/// A text without line ends and control characters, which could move a terminal's cursor.
[[nodiscard]] std::wstring OneLine(std::wstring text);

/// The exit code that tells of this status. A request that has not ended yet counts as done: nothing failed.
[[nodiscard]] eExitCode ExitCodeOf(eZelProcRequestStatus status);
