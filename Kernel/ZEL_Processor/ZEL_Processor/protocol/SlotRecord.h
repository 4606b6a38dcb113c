#pragma once

#include "ZEL_Processor/ZelTypes.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Which request a slot of a server runs, or has run last, in a file of KeyedLines of its own. The request's status
/// says whether it runs still.
struct SSlotRecord {
    unsigned slot = 0;         ///< from 1 on; the name of the file
    std::uint32_t process = 0; ///< of the server
    std::int64_t since = 0;    ///< when the run began, in seconds since 1970-01-01 UTC
    CString request = {};      ///< its name

    bool operator==(const SSlotRecord&) const = default;
};

namespace SlotRecord {

/// A longer one is not read.
constexpr std::size_t kMaxBytes = 4096;

/// Where a server keeps them.
[[nodiscard]] CString FolderIn(const CString& outputDir);

/// All but the number of the slot.
[[nodiscard]] std::string ToText(const SSlotRecord& record);
/// False for what is no such file, or not all of one.
[[nodiscard]] bool FromText(std::string_view text, SSlotRecord& record);
/// Those of a folder that this process wrote, of as many slots as a server may have. Takes no exclusive lock.
[[nodiscard]] std::vector<SSlotRecord> ReadAll(const CString& folder, std::uint32_t process);

} // namespace SlotRecord
