#pragma once

#include "ZEL_Processor/ZelProcessorClient.h"
#include "apps/common/ExitCodes.h"

#include <cstdint>
#include <optional>
#include <string>

/// What the files of a request tell, where it is asked for.
struct SRequestFiles {
    std::optional<std::int64_t> position; ///< 0 runs, 1 runs next; of those that run or wait
    std::optional<std::uint64_t> size;    ///< of the request, or of the response of one that has ended, in bytes
    std::wstring owner;                   ///< of that file; empty when it is not known

    friend bool operator==(const SRequestFiles&, const SRequestFiles&) = default;
};

/// Where a request is on its way, where that is asked for.
struct SRequestStage {
    std::optional<std::int64_t> since; ///< when it began to wait or to run, or ended; seconds since 1970-01-01 UTC
    std::optional<unsigned> slot;      ///< of the server, in which it runs, where that tells; from 1 on

    friend bool operator==(const SRequestStage&, const SRequestStage&) = default;
};

/// What a program knows of a request, ready to be shown.
struct SRequestState {
    std::wstring name;
    eZelProcRequestStatus status = eRequestStatus_NotIntialized;
    std::optional<std::int32_t> percent;
    std::wstring comment;
    std::optional<std::int64_t> created; ///< of the status file; seconds since 1970-01-01 UTC
    std::optional<std::int64_t> modified;
    std::optional<std::int64_t> age; ///< seconds since it began to wait or to run, or ended; where it is asked for
    std::optional<SRequestStage> stage;
    std::optional<SRequestFiles> files;

    friend bool operator==(const SRequestState&, const SRequestState&) = default;
};

[[nodiscard]] SRequestState MakeState(const std::wstring& name, eZelProcRequestStatus status,
                                      const CZelProcessorClient::CAdditionalRequestStatus& additional);
[[nodiscard]] SRequestState ReadState(CZelProcessorClient& client, const std::wstring& name);

/// The JSON object of a state, on one line without line end. A name or comment that is no valid Unicode has U+FFFD in
/// place of what is not.
[[nodiscard]] std::wstring ToJson(const SRequestState& state);

/// The state for people, on one line: "name: Calculating 42 % comment", in the user's language. A comment that says
/// what the status says is left out; the word of the status is, where the comment begins with it.
[[nodiscard]] std::wstring ToText(const SRequestState& state);

/// The comment for people: on one line, without what the status says and a colon at its beginning, whatever language
/// the server speaks. Empty when that is all.
[[nodiscard]] std::wstring CommentText(const SRequestState& state);

/// "5 d": a time that has passed, in the user's language.
[[nodiscard]] std::wstring AgeText(std::int64_t seconds);

/// The status for people, in a word of their language; in English it is the status name without its prefix. Programs
/// read the status itself, in JSON.
[[nodiscard]] std::wstring StatusWord(eZelProcRequestStatus status);

/// The exit code that tells of this status. A request that has not ended yet counts as done: nothing failed.
[[nodiscard]] eExitCode ExitCodeOf(eZelProcRequestStatus status);
