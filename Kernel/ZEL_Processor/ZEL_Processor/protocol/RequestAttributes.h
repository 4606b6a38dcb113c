#pragma once

#include "ZEL_Processor/ZelTypes.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

/// What the document element of a request says of its run. Read before anything runs, from a file that may
/// hold anything: from its first bytes alone, without a parser that could be given work by it.
struct SRequestAttributes {
    static constexpr int kHighest = 100;
    static constexpr int kMostAttempts = 100;
    /// The element begins and ends within so many bytes, or says nothing.
    static constexpr std::size_t kMaxBytes = 4096;
    static constexpr std::size_t kMaxClientBytes = 64;

    int priority = 0;   ///< "Priority", at most kHighest above or below 0; what is beyond counts as that
    std::string client; ///< "Client", as it stands there, in UTF-8, cut after kMaxClientBytes
    /// "NotBefore", in seconds since 1970-01-01 UTC: Protocol::ParseIsoTime of it, 0 for what that does not read.
    std::int64_t notBefore = 0;
    /// "TimeLimit", as ParseSeconds reads it; 0, no limit, for what that does not read.
    std::chrono::milliseconds timeLimit{0};
    int attempts = 1; ///< "Attempts", from 1 to kMostAttempts; what is beyond counts as these

    bool operator==(const SRequestAttributes&) const = default;

    /// The first bytes of a document in UTF-8, in UTF-16 with its mark, or in any encoding that begins like ASCII.
    /// Nothing is said by what is no such element: whether that is an error its run will tell. Nor by a document with a
    /// type declaration.
    [[nodiscard]] static SRequestAttributes Parse(std::string_view bytes);
    /// Of a file that only this process may touch.
    [[nodiscard]] static SRequestAttributes Read(const CString& path);
};
