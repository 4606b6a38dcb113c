#pragma once

#include <ZEL_Processor/ZelTypes.h>

#include <chrono>
#include <cstdint>

/// What a request may use of the server, as the server's variables say.
struct SRequestLimits {
    std::chrono::milliseconds time{0}; ///< ZEL_QUERY_TIME_LIMIT, in seconds; 0: any
    std::int64_t spaceBytes = 0; ///< of temporary files: ZEL_QUERY_SPACE_LIMIT, in MiB; a gibibyte when it is not set

    /// False, with a text for operator and client, when a variable is no such number.
    [[nodiscard]] bool Read(CString& error);
};
