#include "protocol/RequestAttributes.h"

#include "fuzz/Fuzz.h"
#include "platform/Seconds.h"

/// Whatever stands there, what is kept of it is bounded, and only the first bytes count.
void TryBytes(const std::string& bytes)
{
    const SRequestAttributes found = SRequestAttributes::Parse(bytes);
    Require(found.priority >= -SRequestAttributes::kHighest && found.priority <= SRequestAttributes::kHighest);
    Require(found.client.size() <= SRequestAttributes::kMaxClientBytes);
    Require(found.timeLimit.count() >= 0 && found.timeLimit <= kMostSeconds);
    Require(found.attempts >= 1 && found.attempts <= SRequestAttributes::kMostAttempts);
    Require(found == SRequestAttributes::Parse(std::string_view(bytes).substr(0, SRequestAttributes::kMaxBytes)));
}
