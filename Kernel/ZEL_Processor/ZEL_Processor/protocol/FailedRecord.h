#pragma once

#include "ZEL_Processor/ZelTypes.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// What is told of a failed request that is kept, in a file of KeyedLines beside it. Whose it is, its own file says.
struct SFailedRecord {
    std::int64_t when = 0;    ///< seconds since 1970-01-01 UTC
    CString reason = {};      ///< the comment of its last status
    CString crashReport = {}; ///< path; empty when there is none
    unsigned attempt = 1;     ///< which one failed last
    unsigned attempts = 1;    ///< of so many

    bool operator==(const SFailedRecord&) const = default;
};

namespace FailedRecord {

/// A longer one is not read; in one that is written a reason is cut before that.
constexpr std::size_t kMaxBytes = 64 * 1024;

/// Where a server keeps them.
[[nodiscard]] CString FolderIn(const CString& outputDir);
/// The record of a kept request.
[[nodiscard]] CString PathOf(const CString& requestPath);

[[nodiscard]] std::string ToText(const SFailedRecord& record);
/// False for what is no such file, or not all of one.
[[nodiscard]] bool FromText(std::string_view text, SFailedRecord& record);
/// False when there is none that can be read. Takes no exclusive lock.
[[nodiscard]] bool Read(const CString& path, SFailedRecord& record);

} // namespace FailedRecord
